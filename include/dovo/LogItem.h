#pragma once

#include <dovo/Export.h>
#include <dovo/String.h>
#include <dovo/Time.h>

#include <cstdint>

namespace dovo {

/// The levels of log items: a smaller number is more severe; an item is written when its level is at
/// most the log's level, and a negative level is never written.
enum LogLevel : signed char {
    FatalError = 0,
    Error = 1,
    System = 2,
    Warning = 3,
    Status = 4,
    Info = 5,
    Debug = 6,
    Excessive = 7,
};

/// One log entry: the text, its level, when and on which thread it was made.
class DOVO_API LogItem
{
public:
    LogItem(LogLevel level, const String& text);
    virtual ~LogItem();

    /// The item as a log line: time, level tag, <thread id: name>, the text and a line feed.
    String Line() const;
    /// Appends the line to out (without making a String of its own).
    void AppendLine(std::string& out) const;
    /// Appends the line an item with these fields would give.
    static void AppendLine(std::string& out, LogLevel level, const Time& time, std::uint32_t threadId,
                           const String& threadName, const String& text);
    /// The 14-character tag of a level (" [   Info   ] "); empty for levels outside the table.
    static const char* Tag(LogLevel level);

    String text;
    LogLevel level;
    Time time;
    std::uint32_t thread_id;
    String thread_name;
    LogItem* next = nullptr; ///< the next kept item of its log
};

} // namespace dovo
