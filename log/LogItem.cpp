#include <dovo/LogItem.h>

#include "objects/ExceptionHooks.h"
#include "threads/Kernel.h"

#include <climits>
#include <cstring>
#include <string>

namespace dovo {

namespace {
const char* const kTags[8] = {" [FatalError] ", " [   Error  ] ", " [  System  ] ", " [  Warning ] ",
                              " [  Status  ] ", " [   Info   ] ", " [   Debug  ] ", " [ Excessive] "};
}

LogItem::LogItem(LogLevel level, const String& text)
    : text(text), level(level), time(Time::CurrentTime()), thread_id(kernel::CurrentThreadId()),
      thread_name(hooks::ThreadName(thread_id))
{
}

LogItem::~LogItem() = default;

const char* LogItem::Tag(LogLevel level) { return level >= 0 && level <= 7 ? kTags[static_cast<int>(level)] : ""; }

namespace {
// Lines come many per second: each thread keeps the text of the last second it stamped (local time,
// with the zone's offset looked up once per second) and adds only the milliseconds.
struct StampCache
{
    std::int64_t second = INT64_MIN;
    std::string text; // "yy.mm.dd HH:MM:SS"
};
thread_local StampCache t_stamp;

} // namespace

void LogItem::AppendLine(std::string& out, LogLevel level, const Time& time, std::uint32_t threadId,
                         const String& threadName, const String& text)
{
    StampCache& stamp = t_stamp;
    const std::int64_t value = time.TotalMilliseconds();
    const std::int64_t second = value / 1000 - (value % 1000 < 0 ? 1 : 0);
    if (second != stamp.second) {
        stamp.text = Time(second * 1000).Format("%y.%m.%d %H:%M:%S", true).str();
        stamp.second = second;
    }
    const int ms = static_cast<int>(value - second * 1000);
    const char* tag = Tag(level);
    const std::size_t tagLength = std::strlen(tag);
    const std::string& name = threadName.str();
    const char* shownName = name.empty() ? "Unnamed" : name.c_str();
    const std::size_t nameLength = name.empty() ? 7 : name.size();
    const std::string& body = text.str();
    // The line is sized once and its pieces copied in: a line is made for every log call.
    const std::size_t at = out.size();
    out.resize(at + stamp.text.size() + 4 + tagLength + 11 + 2 + nameLength + 2 + body.size() + 1);
    char* p = out.data() + at;
    const auto put = [&p](const char* data, std::size_t size) {
        std::memcpy(p, data, size);
        p += size;
    };
    static const char digits[] = "0123456789ABCDEF";
    put(stamp.text.data(), stamp.text.size());
    *p++ = '.';
    *p++ = static_cast<char>('0' + ms / 100);
    *p++ = static_cast<char>('0' + ms / 10 % 10);
    *p++ = static_cast<char>('0' + ms % 10);
    put(tag, tagLength);
    put("<0x", 3);
    for (int i = 0; i < 8; ++i) *p++ = digits[(threadId >> (28 - 4 * i)) & 15];
    put(": ", 2);
    put(shownName, nameLength);
    put("> ", 2);
    put(body.data(), body.size());
    *p = '\n';
}

void LogItem::AppendLine(std::string& out) const { AppendLine(out, level, time, thread_id, thread_name, text); }

String LogItem::Line() const
{
    std::string line;
    AppendLine(line);
    return line;
}

} // namespace dovo
