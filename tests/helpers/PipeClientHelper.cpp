// A client in a process of its own: "PipeClientHelper NAME TEXT" sends TEXT as one message to the
// named pipe NAME (trying again for up to a minute while no instance is free) and ends with 0, or 1
// when it could not.

#include <dovo/Exception.h>
#include <dovo/NamedPipe.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <thread>

using namespace dovo;

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    NamedPipe client{Path(argv[1])};
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (;;) {
        try {
            client.BeginUsing();
            client.Write(reinterpret_cast<const unsigned char*>(argv[2]), static_cast<int>(std::strlen(argv[2])));
            return 0;
        } catch (Exception* e) {
            std::unique_ptr<Exception> owned(e);
            if (!e->Message().StartsWith("Named pipe not available: ") || std::chrono::steady_clock::now() > limit) {
                std::fprintf(stderr, "%s\n", e->Message().c_str());
                return 1;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}
