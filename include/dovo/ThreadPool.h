#pragma once

#include <dovo/Export.h>

// Tasks are Boost function objects. Only the name is needed here; callers include
// <boost/function.hpp> to make tasks (a lambda or a function converts on the call).
namespace boost {
template <typename Signature>
class function;
} // namespace boost

namespace dovo {

/// The process-wide pool of worker threads ("Pool-000", "Pool-001", ...: one per logical processor
/// but one, at least one) that run queued tasks in the order queued. A task that throws, or an empty
/// function object, is logged and its worker goes on with the next task. Tasks run concurrently on
/// different workers: a task that touches shared data locks it itself.
///
/// Library clean-up stops the workers once their current tasks have returned; tasks still queued then
/// are destroyed without being run. Initialize starts the workers again after that.
class DOVO_API ThreadPool
{
public:
    ThreadPool() = delete;

    /// Creates and starts the workers (a second call adds none) and connects the pool's report to the
    /// running executable's ReportingStatistics signal, once.
    static void Initialize();
    /// Queues a task at the tail. Tasks queued before Initialize wait for the workers.
    static void Enqueue(const boost::function<void()>& task);
    /// Queues a task at the head: it is the next one taken.
    static void PriorityQueue(const boost::function<void()>& task);
};

} // namespace dovo
