#include <dovo/LogItem.h>

#include "log/LogItemPool.h"
#include "objects/ExceptionHooks.h"
#include "threads/Kernel.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

namespace dovo {

namespace {
const char* const kTags[8] = {" [FatalError] ", " [   Error  ] ", " [  System  ] ", " [  Warning ] ",
                              " [  Status  ] ", " [   Info   ] ", " [   Debug  ] ", " [ Excessive] "};
}

namespace {
// When and on which thread an item is made.
void Stamp(LogItem& item)
{
    item.time = Time::CurrentTime();
    item.thread_id = kernel::CurrentThreadId();
    item.thread_name = hooks::ThreadName(item.thread_id);
}
} // namespace

LogItem::LogItem(LogLevel level, const String& text) : text(text), level(level) { Stamp(*this); }

LogItem::~LogItem() = default;

namespace logitems {

namespace {
// Items given back wait here (at most kKept of them).
constexpr std::size_t kKept = 4096;
// An item that held a longer text is not kept: its memory would stay with it.
constexpr std::size_t kLongestKept = 1024;

struct Pool
{
    std::mutex lock;
    std::vector<LogItem*> items;
};
// Never destroyed: items are given back while the process's statics go.
Pool& Items()
{
    static auto* pool = new Pool;
    return *pool;
}
} // namespace

LogItem* Make(LogLevel level, const String& text)
{
    LogItem* item = nullptr;
    {
        Pool& pool = Items();
        std::lock_guard<std::mutex> hold(pool.lock);
        if (!pool.items.empty()) {
            item = pool.items.back();
            pool.items.pop_back();
        }
    }
    if (!item) return new LogItem(level, text);
    item->text = text; // (into the memory the item's last text used)
    item->level = level;
    Stamp(*item);
    return item;
}

void GiveBack(LogItem* const* items, std::size_t count)
{
    std::size_t kept = 0;
    {
        Pool& pool = Items();
        std::lock_guard<std::mutex> hold(pool.lock);
        for (; kept < count && pool.items.size() < kKept; ++kept) {
            LogItem* item = items[kept];
            if (item->text.str().capacity() > kLongestKept || item->thread_name.str().capacity() > kLongestKept) break;
            item->next = nullptr;
            pool.items.push_back(item);
        }
    }
    // The rest is deleted outside the lock; an item too large to keep ends the keeping.
    for (std::size_t i = kept; i < count; ++i) delete items[i];
}

} // namespace logitems

const char* LogItem::Tag(LogLevel level) { return level >= 0 && level <= 7 ? kTags[static_cast<int>(level)] : ""; }

namespace {
// Lines come many per second: each thread keeps the text of the last second it stamped (local time,
// with the zone's offset looked up once per second) and adds only the milliseconds. Plain data: lines
// are also made while the process exits, after the exiting thread's thread-local objects are destroyed.
struct StampCache
{
    std::int64_t second = INT64_MIN;
    char text[32]; // "yy.mm.dd HH:MM:SS"
    std::size_t size = 0;
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
        const std::string formatted = Time(second * 1000).Format("%y.%m.%d %H:%M:%S", true).str();
        stamp.size = std::min(formatted.size(), sizeof stamp.text);
        std::memcpy(stamp.text, formatted.data(), stamp.size);
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
    out.resize(at + stamp.size + 4 + tagLength + 11 + 2 + nameLength + 2 + body.size() + 1);
    char* p = out.data() + at;
    const auto put = [&p](const char* data, std::size_t size) {
        std::memcpy(p, data, size);
        p += size;
    };
    static const char digits[] = "0123456789ABCDEF";
    put(stamp.text, stamp.size);
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
