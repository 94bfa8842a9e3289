// ThreadPool: the process-wide task queue, its workers and their report.

#include <dovo/Executable.h>
#include <dovo/FastMutex.h>
#include <dovo/HasSlots.h>
#include <dovo/LibStatic.h>
#include <dovo/Log.h>
#include <dovo/Platform.h>
#include <dovo/Queue.h>
#include <dovo/String.h>
#include <dovo/Thread.h>
#include <dovo/ThreadPolicy.h>
#include <dovo/ThreadPool.h>

#include "threads/Hold.h"

#include <boost/function.hpp>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace dovo {

namespace {

using Task = boost::function<void()>;

constexpr unsigned kItemSize = 40;
constexpr unsigned kInitialSize = 256;
constexpr float kTakeSeconds = 0.05f;

static_assert(sizeof(Task) <= kItemSize, "a task must fit its queue slot");
// Slots lie item-size bytes apart from the start of a block that the allocator aligns for any type.
static_assert(kItemSize % alignof(Task) == 0, "every slot must be aligned for a task");

// The items are the task objects themselves, made in their slots and destroyed there. Every item handed
// to CopyItem belongs to the pool (the queuing call's own copy of the caller's task, or a slot that is
// cleared next), so it is moved rather than copied: no allocation and no exception under the queue's
// locks.
class Tasks : public Queue
{
public:
    Tasks() : Queue("TaskQueue", kInitialSize, 0, true, kItemSize) {}
    ~Tasks() override { Clear(false, false); }

protected:
    void CopyItem(const void* from, void* to) override
    {
        new (to) Task(std::move(*static_cast<Task*>(const_cast<void*>(from))));
    }
    void ClearItem(void* item) override { std::launder(static_cast<Task*>(item))->~Task(); }
};

// One worker: takes a task, waiting briefly so that a stop request is seen soon, and runs it.
class ThreadProc : public Thread
{
public:
    ThreadProc(Tasks& tasks, unsigned index) : Thread(SFormat("Pool-%03u", index)), m_tasks(tasks) {}

    bool Execute() override
    {
        alignas(Task) unsigned char item[kItemSize];
        if (!m_tasks.Get(item, kTakeSeconds)) return true;
        // The task is destroyed and counted whether it returns or throws.
        struct Taken
        {
            ThreadProc& worker;
            Task* task;
            ~Taken()
            {
                task->~Task();
                worker.m_working.store(false, std::memory_order_relaxed);
                worker.m_processed.fetch_add(1, std::memory_order_relaxed);
            }
        } taken{*this, std::launder(reinterpret_cast<Task*>(item))};
        m_working.store(true, std::memory_order_relaxed);
        (*taken.task)();
        return true;
    }

    bool OnException(Exception*) override
    {
        LogError("Last task caused an exception: operation may not have completed correctly");
        return true;
    }

    bool Working() const { return m_working.load(std::memory_order_relaxed); }
    unsigned long Processed() const { return m_processed.load(std::memory_order_relaxed); }

private:
    Tasks& m_tasks;
    std::atomic<bool> m_working{false};
    std::atomic<unsigned long> m_processed{0};
};

class TaskQueue : public HasSlots<ThreadPolicy::GlobalThreaded>, public LibStatic
{
public:
    TaskQueue() : LibStatic("TaskQueue") {}

    void Initialize()
    {
        const unsigned wanted = static_cast<unsigned>(std::max(Platform::ProcessorThreads() - 1, 1));
        for (ThreadProc* worker : Workers(wanted)) worker->Start(); // a running worker stays as it is
        if (Executable* executable = Executable::GetExecutable()) {
            // Held across both calls so that two Initialize calls cannot both connect. The signal and
            // this holder lock the same (recursive) mutex, so no new lock order arises.
            Hold<Mutex> hold(ThreadPolicy::GlobalThreaded::GetMutex());
            executable->ReportingStatistics.Disconnect(this);
            executable->ReportingStatistics.Connect(this, &TaskQueue::Report);
        }
    }

    void Add(const Task& task, bool head)
    {
        Task copy(task); // the one copy, made before the queue's locks are taken
        if (head) m_tasks.AddHead(&copy);
        else m_tasks.Add(&copy);
    }

    void Report(FILE* out)
    {
        Hold<FastMutex> hold(m_lock);
        _DoFTrace(out, "TaskQueue has %u tasks in it, with %u threads\n", m_tasks.Count(),
                  static_cast<unsigned>(m_workers.size()));
        for (const auto& worker : m_workers)
            _DoFTrace(out, "    %s %s  %lu Tasks processed\n", worker->Name().c_str(),
                      worker->Working() ? "WORKING" : "waiting", worker->Processed());
        _DoFTrace(out, "\n\n");
    }

    // Every worker is asked to stop at once; those waiting for a task are woken. Once all have ended,
    // the tasks left are destroyed unrun.
    void OnLibCleanup() override
    {
        const std::vector<ThreadProc*> workers = Workers(0);
        for (ThreadProc* worker : workers)
            if (worker->IsRunning()) worker->Signal(0);
        m_tasks.Unblock(true);
        for (ThreadProc* worker : workers) worker->WaitFor();
        m_tasks.Clear(false, false);
    }

private:
    // Makes workers up to the number wanted and lists them all.
    std::vector<ThreadProc*> Workers(unsigned wanted)
    {
        Hold<FastMutex> hold(m_lock);
        while (m_workers.size() < wanted)
            m_workers.push_back(std::make_unique<ThreadProc>(m_tasks, static_cast<unsigned>(m_workers.size())));
        std::vector<ThreadProc*> workers;
        for (const auto& worker : m_workers) workers.push_back(worker.get());
        return workers;
    }

    FastMutex m_lock; // the list of workers
    Tasks m_tasks;
    std::vector<std::unique_ptr<ThreadProc>> m_workers;
};

// Made on first use, at the latest when the library is loaded, and never destroyed: workers that no
// clean-up stopped may still take tasks while the process's statics go.
TaskQueue& Pool()
{
    static TaskQueue* const pool = new TaskQueue;
    return *pool;
}
const bool g_poolMade = (Pool(), true);

} // namespace

void ThreadPool::Initialize() { Pool().Initialize(); }

void ThreadPool::Enqueue(const boost::function<void()>& task) { Pool().Add(task, false); }

void ThreadPool::PriorityQueue(const boost::function<void()>& task) { Pool().Add(task, true); }

} // namespace dovo
