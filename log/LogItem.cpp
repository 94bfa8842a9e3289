#include <dovo/LogItem.h>

#include "objects/ExceptionHooks.h"
#include "threads/Kernel.h"

#include <climits>
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

void AppendStamp(std::string& out, const Time& time)
{
    const std::int64_t value = time.TotalMilliseconds();
    const std::int64_t second = value / 1000 - (value % 1000 < 0 ? 1 : 0);
    if (second != t_stamp.second) {
        t_stamp.text = Time(second * 1000).Format("%y.%m.%d %H:%M:%S", true).str();
        t_stamp.second = second;
    }
    const int ms = static_cast<int>(value - second * 1000);
    const char millis[5] = {'.', static_cast<char>('0' + ms / 100), static_cast<char>('0' + ms / 10 % 10),
                            static_cast<char>('0' + ms % 10), 0};
    out += t_stamp.text;
    out.append(millis, 4);
}
} // namespace

void LogItem::AppendLine(std::string& out, LogLevel level, const Time& time, std::uint32_t threadId,
                         const String& threadName, const String& text)
{
    AppendStamp(out, time);
    out += Tag(level);
    char id[16] = {'<', '0', 'x'};
    static const char digits[] = "0123456789ABCDEF";
    for (int i = 0; i < 8; ++i) id[3 + i] = digits[(threadId >> (28 - 4 * i)) & 15];
    out.append(id, 11);
    out += ": ";
    if (threadName.Empty()) out += "Unnamed";
    else out += threadName.str();
    out += "> ";
    out += text.str();
    out += '\n';
}

void LogItem::AppendLine(std::string& out) const { AppendLine(out, level, time, thread_id, thread_name, text); }

String LogItem::Line() const
{
    std::string line;
    AppendLine(line);
    return line;
}

} // namespace dovo
