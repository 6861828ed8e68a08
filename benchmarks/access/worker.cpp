#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/access/KelFileAccess.h>

#include <QEventLoop>
#include <QFile>
#include <QThreadPool>

#include <fcntl.h>
#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

// Reads that another thread does, each asked for when the one before has been answered.

namespace bench {
namespace {

constexpr int requests = 3000;
constexpr int readSize = 120 << 10; // reading takes about a quarter of what waking each other does

/** Large enough to be read from one end to the other. */
QString source()
{
    return Scratch::file(qint64(requests) * readSize);
}

class Descriptor
{
public:
    Descriptor() : m_number(::open(QFile::encodeName(source()).constData(), O_RDONLY | O_CLOEXEC))
    { }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(m_number); }

    ssize_t read(int request, std::vector<char>& target) const
    {
        const off_t position = off_t(request) * readSize;
        return ::pread(m_number, target.data(), target.size(), position);
    }

private:
    const int m_number;
};

void readDirectly()
{
    const Descriptor file;
    std::vector<char> target(readSize);
    for (int request = 0; request < requests; ++request)
        insist(file.read(request, target) == readSize, "pread() read too little");
}

/** A thread that takes numbers of requests, one at a time. */
class StandardWorker
{
public:
    StandardWorker() : m_target(readSize), m_thread([this] { run(); }) { }
    ~StandardWorker()
    {
        ask(-1);
        m_thread.join();
    }

    ssize_t read(int request)
    {
        ask(request);
        std::unique_lock<std::mutex> lock(m_mutex);
        m_answered.wait(lock, [this] { return !m_asked; });
        return m_count;
    }

private:
    void ask(int request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_request = request;
        m_asked = true;
        m_wanted.notify_one();
    }

    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wanted.wait(lock, [this] { return m_asked; });
            if (m_request < 0)
                return;
            lock.unlock();
            const ssize_t count = m_file.read(m_request, m_target);
            lock.lock();
            m_count = count;
            m_asked = false;
            m_answered.notify_one();
        }
    }

    const Descriptor m_file;
    std::vector<char> m_target;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_wanted;
    std::condition_variable m_answered;
    int m_request = 0;
    bool m_asked = false;
    ssize_t m_count = 0;
    std::thread m_thread;
};

void readByStandardThread()
{
    StandardWorker worker;
    for (int request = 0; request < requests; ++request)
        insist(worker.read(request) == readSize, "the thread read too little");
}

/** Has the thread pool read, which calls back in the event loop. */
class PoolReader : public QObject
{
public:
    PoolReader() : m_target(readSize) { m_pool.setMaxThreadCount(1); }

    void readAll()
    {
        ask();
        m_loop.exec();
        insist(m_request == requests, "the thread pool read too little");
    }

private:
    void ask()
    {
        m_pool.start([this] {
            const ssize_t count = m_file.read(m_request, m_target);
            QMetaObject::invokeMethod(
                this, [this, count] { answered(count); }, Qt::QueuedConnection);
        });
    }

    void answered(ssize_t count)
    {
        if (count == readSize && ++m_request < requests)
            ask();
        else
            m_loop.quit();
    }

    const Descriptor m_file;
    std::vector<char> m_target;
    int m_request = 0;
    QEventLoop m_loop;
    QThreadPool m_pool;
};

void readByLibrary()
{
    kel::KelFileAccess access(source());
    access.open(QIODevice::ReadOnly, false);
    access.open(QIODevice::ReadOnly, true); // refused, but chooses the mode
    access.start();
    QByteArray target;
    QEventLoop loop;
    int request = 0;
    QObject::connect(&access, &kel::KelFileAccess::readFinished, &loop, [&](qint64 count) {
        if (count == readSize && ++request < requests)
            access.read(target, readSize);
        else
            loop.quit();
    });
    access.read(target, readSize);
    loop.exec();
    insist(request == requests, "the worker read too little");
}

} // namespace

void addWorker()
{
    const auto contender = [](const char* name, const Work& work) {
        add("worker-requests", std::to_string(requests), name, work);
    };
    contender(limit, readDirectly);
    contender(standard, readByStandardThread);
    contender(qt, [] { PoolReader().readAll(); });
    contender(quarn, readByLibrary);
}

} // namespace bench
