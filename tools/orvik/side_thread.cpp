#include "side_thread.hpp"

namespace orvik_tool {

SideThread::SideThread() {
    if (std::thread::hardware_concurrency() > 1) m_thread = std::thread([this] { Loop(); });
}

SideThread::~SideThread() {
    if (!m_thread.joinable()) return;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_busy; });
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void SideThread::Run(std::function<void()> job) {
    if (!m_thread.joinable()) {
        job();
        return;
    }
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_busy; });
        m_job = std::move(job);
        m_busy = true;
    }
    m_changed.notify_all();
}

void SideThread::Wait() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_busy; });
}

void SideThread::Loop() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_busy || m_stop; });
        if (m_stop) return;
        std::function<void()> job = std::move(m_job);
        lock.unlock();
        job();
        lock.lock();
        m_busy = false;
        m_changed.notify_all();
    }
}

} // namespace orvik_tool
