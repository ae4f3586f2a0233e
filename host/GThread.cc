#include "host/GThread.h"

#include <pthread.h>

#include <chrono>
#include <exception>

GThread::GThread(function<int> body, std::string const& name, function<int> before,
                 function<int> after)
    : m_body(body), m_before(before), m_after(after), m_strName(name) {}

GThread::~GThread() {
    stop();
    // Destroyed by its own body: the loop can no longer be joined.
    if (m_thread.joinable()) m_thread.detach();
}

function<int> GThread::emptyFun() {
    return function<int>([]() { return 0; });
}

bool GThread::start() {
    std::unique_lock<std::mutex> startLock(m_startMutex);
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_bRunning) return false;
    }
    // A loop that ended on its own (zero result, or stop from inside) still
    // has to be joined before the next one starts.
    if (m_thread.joinable()) m_thread.join();
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_bStopRequest = false;
        m_bRunning = true;
    }
    try {
        m_thread = std::thread(&GThread::run, this);
    } catch (std::exception const&) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_bRunning = false;
        return false;
    }
    return true;
}

void GThread::stop() {
    // From the body itself: only ask. Taking the start lock here would wait
    // for an outside stop() that is waiting for this very thread.
    if (m_bodyThread.load() == std::this_thread::get_id()) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_bStopRequest = true;
        }
        m_wake.notify_all();
        return;
    }
    std::unique_lock<std::mutex> startLock(m_startMutex);
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_bStopRequest = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) m_thread.join();
}

void GThread::setPalpitationTime(int milliseconds) {
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_nPalpitationMs = milliseconds < 0 ? 0 : milliseconds;
    }
    m_wake.notify_all();
}

int GThread::getPalpitationTime() {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_nPalpitationMs;
}

bool GThread::isRunning() {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_bRunning;
}

namespace NS_GThread {

// Runs one call; an exception counts as "go on" so a bad round cannot end
// the process.
int guardedCall(function<int> const& call) {
    try {
        return call();
    } catch (...) {
        return 1;
    }
}

}  // namespace NS_GThread

void GThread::run() {
    m_bodyThread.store(std::this_thread::get_id());
    // The kernel keeps at most 15 characters and the terminating zero.
    std::string shortName = m_strName.substr(0, 15);
    pthread_setname_np(pthread_self(), shortName.c_str());

    NS_GThread::guardedCall(m_before);
    while (true) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_bStopRequest) break;
        }
        if (NS_GThread::guardedCall(m_body) == 0) break;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_bStopRequest) break;
        if (m_nPalpitationMs > 0) {
            auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_nPalpitationMs);
            m_wake.wait_until(lock, until, [this]() { return m_bStopRequest; });
        }
    }
    NS_GThread::guardedCall(m_after);
    m_bodyThread.store(std::thread::id());
    std::unique_lock<std::mutex> lock(m_mutex);
    m_bRunning = false;
}
