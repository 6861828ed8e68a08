#include "support/Scratch.h"
#include "support/contest.h"
#include "support/families.h"

#include <Quarn/access/AsyncFile.h>

#include <QEventLoop>
#include <QFile>
#include <QFutureWatcher>
#include <QThreadPool>
#include <QtConcurrentRun>

#include <fcntl.h>
#include <unistd.h>

#include <deque>
#include <thread>
#include <utility>

// Requests to a file in another thread: many small ones at once, one after the other, many files.

namespace bench {
namespace {

class Descriptor
{
public:
    Descriptor(const QString& path, int flags)
        : m_number(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, 0600))
    {
        insist(m_number >= 0, "open() failed");
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(m_number); }

    void write(const QByteArray& bytes) const
    {
        insist(::write(m_number, bytes.constData(), std::size_t(bytes.size())) == bytes.size(),
               "write() wrote too little");
    }
    void read(QByteArray& target, qint64 position) const
    {
        insist(::pread(m_number, target.data(), std::size_t(target.size()), position)
                   == target.size(),
               "pread() read too little");
    }

private:
    const int m_number;
};

namespace writes {

constexpr int count = 100000;
const QByteArray bytes(64, 'x');

QString target()
{
    return Scratch::path(QStringLiteral("async-writes"));
}

Descriptor opened()
{
    return Descriptor(target(), O_WRONLY | O_CREAT | O_TRUNC);
}

void directly()
{
    const Descriptor file = opened();
    for (int i = 0; i < count; ++i)
        file.write(bytes);
}

/** Each write in the pool, and back by a queued call. */
void byPool()
{
    const Descriptor file = opened();
    QThreadPool pool;
    pool.setMaxThreadCount(1); // a second one would change their order
    QEventLoop loop;
    int answered = 0;
    for (int i = 0; i < count; ++i) {
        pool.start([&] {
            file.write(bytes);
            QMetaObject::invokeMethod(
                &loop,
                [&] {
                    if (++answered == count)
                        loop.quit();
                },
                Qt::QueuedConnection);
        });
    }
    loop.exec();
}

void byLibrary()
{
    kel::AsyncFile file(target());
    file.open(QIODevice::WriteOnly);
    for (int i = 0; i < count; ++i)
        file.write(bytes);
    insist(file.close().result().ok(), "a write failed");
    insist(QFile(target()).size() == qint64(count) * bytes.size(), "a write is missing");
}

} // namespace writes

namespace reads {

constexpr int count = 3000;
constexpr int size = 4096;

QString source()
{
    return Scratch::file(qint64(count) * size);
}

/** Asks for each read when the one before has been answered in the event loop. */
template <typename Result, typename Ask>
void inTurn(Ask ask)
{
    QFutureWatcher<Result> watcher;
    QEventLoop loop;
    int answered = 0;
    QObject::connect(&watcher, &QFutureWatcherBase::finished, &loop, [&] {
        if (++answered < count)
            watcher.setFuture(ask(answered));
        else
            loop.quit();
    });
    watcher.setFuture(ask(0));
    loop.exec();
}

/** The least that a call in another thread takes with a future. */
void byConcurrentRun()
{
    const Descriptor file(source(), O_RDONLY);
    inTurn<QByteArray>([&](int number) {
        return QtConcurrent::run([&file, number] {
            QByteArray data(size, Qt::Uninitialized);
            file.read(data, qint64(number) * size);
            return data;
        });
    });
}

void byLibrary()
{
    kel::AsyncFile file(source());
    file.open(QIODevice::ReadOnly);
    inTurn<kel::AsyncFileResult>([&](int) { return file.read(size); });
    insist(file.read(1).result().data.isEmpty(), "a read was too short");
}

} // namespace reads

namespace files {

constexpr int count = 64;
constexpr int size = 16 << 20;

QString source()
{
    return Scratch::file(size);
}

/** Each reads a file, for who has started it to take the contents. */
void byThreads()
{
    source();
    std::vector<std::thread> threads;
    std::vector<QByteArray> contents(count);
    for (QByteArray& data : contents) {
        threads.emplace_back([&data] {
            data = QByteArray(size, Qt::Uninitialized);
            Descriptor(source(), O_RDONLY).read(data, 0);
        });
    }
    for (std::size_t i = 0; i < threads.size(); ++i) {
        threads[i].join();
        insist(std::exchange(contents[i], {}).size() == size, "a file was not read");
    }
}

void byLibrary()
{
    QThreadPool pool;
    pool.setMaxThreadCount(count);
    std::deque<kel::AsyncFile> open;
    std::vector<kel::AsyncFile::Request> reads;
    for (int i = 0; i < count; ++i) {
        kel::AsyncFile& file = open.emplace_back(source(), &pool);
        file.open(QIODevice::ReadOnly);
        reads.push_back(file.read(size));
    }
    for (kel::AsyncFile::Request& read : reads)
        insist(std::exchange(read, {}).result().count == size, "a file was not read to its end");
}

} // namespace files

} // namespace

void addAsyncFile()
{
    add("async-writes", "100000", limit, writes::directly);
    add("async-writes", "100000", qt, writes::byPool);
    add("async-writes", "100000", quarn, writes::byLibrary);
    add("async-reads", "3000", limit, reads::byConcurrentRun);
    add("async-reads", "3000", quarn, reads::byLibrary);
    add("async-files", "64", limit, files::byThreads);
    add("async-files", "64", quarn, files::byLibrary);
}

} // namespace bench
