#include "Worker.h"

#include <QEventLoop>

Worker::Worker() = default;

Worker::~Worker() = default;

void Worker::start()
{
    m_thread = std::thread([this] {
        const QEventLoop loop; // gives a thread that Qt didn't start its event dispatcher
        run();
        Q_EMIT finished();
    });
}

void Worker::join()
{
    if (m_thread.joinable())
        m_thread.join();
}
