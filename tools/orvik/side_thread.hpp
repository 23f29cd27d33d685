// A second thread for work that only reads what the main thread also reads, such as counting
// the pixels of a block row while the same rows are written: one job at a time, handed over
// and waited for. With a single processor the job runs at once on the caller's thread.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace orvik_tool {

class SideThread {
  public:
    SideThread();
    ~SideThread(); // waits for the job in hand
    SideThread(const SideThread &) = delete;
    SideThread &operator=(const SideThread &) = delete;

    // Starts `job` once the one before it is done.
    void Run(std::function<void()> job);
    // Returns when the job handed over last is done.
    void Wait();

  private:
    void Loop();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void()> m_job;
    bool m_busy = false, m_stop = false;
    std::thread m_thread; // last: started once the rest is ready
};

} // namespace orvik_tool
