#ifndef QUARN_TESTS_SUPPORT_THREAD_H
#define QUARN_TESTS_SUPPORT_THREAD_H

#include <QThread>

#include <deque>
#include <functional>
#include <utility>

/** A QThread that runs a function, and is waited for when the object goes. */
class Thread : public QThread
{
public:
    explicit Thread(std::function<void()> work) : m_work(std::move(work)) { }
    ~Thread() override { wait(); }

protected:
    void run() override { m_work(); }

private:
    const std::function<void()> m_work;
};

/** Several of these, which begin at once. */
class Threads
{
public:
    void start(std::function<void()> work)
    {
        m_threads.emplace_back(std::move(work));
        m_threads.back().start();
    }

private:
    std::deque<Thread> m_threads;
};

#endif
