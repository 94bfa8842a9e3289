// A small render-farm worker on Dovo: a worker thread "renders" frames while the run loop reports
// progress, until the frames are done or the program is interrupted (Ctrl-C). Try:
//
//   farmhand -Frames 40 -LogFolder /tmp/farmhand -LogFileLevel 6
//
// and read farmhand.log in the log folder afterwards. From another shell, while it runs:
//
//   farmhand -SendToProc <its process ID> REPORT    (a statistics report in the log folder)
//   farmhand -SendLogDump <its process ID>          (its logs dumped beside their files)
//   farmhand -SendShutdown <its process ID>         (it stops as if interrupted)

#include <dovo/Application.h>
#include <dovo/Log.h>
#include <dovo/Thread.h>
#include <dovo/Trigger.h>

#include <atomic>
#include <cstdio>

using namespace dovo;

namespace {

class Renderer : public Thread
{
public:
    Renderer() : Thread("Renderer") {}
    void Configure(int frames) { m_frames = frames; }
    int Done() const { return m_done; }
    bool Finished() const { return m_done >= m_frames; }

    bool Execute() override
    {
        // A frame takes 50 ms of "work"; the pause also lets a stop request through.
        m_pause.Wait(0.05f);
        LogDebug(SFormat("Rendered frame %d of %d", m_done + 1, m_frames));
        return ++m_done < m_frames;
    }

private:
    Trigger m_pause;
    std::atomic<int> m_done{0};
    int m_frames = 20;
};

class Farmhand : public Application
{
public:
    bool Startup(CommandLine& commandLine) override
    {
        if (!Application::Startup(commandLine)) return false;
        m_renderer.Configure(commandLine.GetArgument("Frames", 0, 20));
        LogStatus(AppName() + " on " + MachineName() + ": log in " + LogDir().Text());
        m_renderer.Start();
        return true;
    }

    bool Execute() override
    {
        m_tick.Wait(0.25f);
        std::printf("\r%s: %d frames rendered", AppName().c_str(), m_renderer.Done());
        std::fflush(stdout);
        return !m_renderer.Finished();
    }

    void Cleanup() override
    {
        if (m_renderer.Done() > 0) std::printf("\n"); // ends the progress line
        m_renderer.Signal(0);
        m_renderer.WaitFor();
        LogStatus(SFormat("%d frames rendered", m_renderer.Done()));
        Application::Cleanup();
    }

    bool OnInterrupt() override
    {
        LogWarning("Interrupted: stopping after the current frame");
        Signal(0);
        return true;
    }

private:
    Renderer m_renderer;
    Trigger m_tick;
};

Farmhand theFarmhand;

} // namespace
