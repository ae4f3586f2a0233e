#ifndef HOST_GTHREAD_H
#define HOST_GTHREAD_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "foundation/function.h"

// A named worker that runs `body` again and again until stopped: `before`
// once, then body, pause, body, ... and `after` once when the loop ends.
// A body result of 0 ends the loop; any other value keeps it running.
// An exception out of the body is swallowed and counts as "keep running", so
// a failing round never takes the process down.
//
// start/stop may be called from any thread and as often as wanted, in
// sequence. stop waits for the current run of the body to end and cuts the
// pause short at once. stop from inside the body only asks the loop to end;
// the thread is joined by the next start or by the destructor.
class GThread {
public:
    // Pause between runs unless setPalpitationTime says otherwise.
    static constexpr int kDefaultPalpitationMs = 1000;

    GThread(function<int> body, std::string const& name,
            function<int> before = GThread::emptyFun(),
            function<int> after = GThread::emptyFun());
    virtual ~GThread();  // stops

    GThread(GThread const&) = delete;
    GThread& operator=(GThread const&) = delete;

    // A function that does nothing and answers 0.
    static function<int> emptyFun();

    // false if already running or the thread could not be made.
    bool start();
    void stop();

    // Milliseconds between the end of one run of the body and the next;
    // 0 means no pause. Takes effect from the next pause.
    void setPalpitationTime(int milliseconds);
    int getPalpitationTime();

    // true from start until the loop has ended (stopped or a zero result).
    bool isRunning();
    std::string const& getName() const { return m_strName; }

private:
    void run();

    function<int> m_body;
    function<int> m_before;
    function<int> m_after;
    std::string const m_strName;

    std::mutex m_startMutex;       // serialises start and stop
    std::mutex m_mutex;            // guards the fields below
    std::condition_variable m_wake;
    std::thread m_thread;          // guarded by m_startMutex
    std::atomic<std::thread::id> m_bodyThread{};  // the loop's own thread while it runs
    bool m_bStopRequest = false;   // guarded by m_mutex
    bool m_bRunning = false;       // guarded by m_mutex
    int m_nPalpitationMs = kDefaultPalpitationMs;  // guarded by m_mutex
};

#endif
