#include <Quarn/multiuser/ReaderConnections_p.h>

#include <Quarn/companion/connect.h>
#include <Quarn/multiuser/ReaderCall_p.h>

#include <QIODevice>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <iterator>
#include <utility>

namespace kel {

ReaderConnections::Emission::Emission(std::shared_ptr<ReaderConnections> connections, Signal signal)
    : m_connections(std::move(connections)), m_begun(m_connections->begin(signal))
{ }

ReaderConnections::Emission::~Emission()
{
    if (m_begun)
        m_connections->end();
}

ReaderConnections::ReaderConnections(QIODevice* device) : m_device(device)
{
    // What Qt makes at the first connection or guarded pointer it publishes without order, and the
    // table of signals it even replaces, and frees, under a running emission, once a connection to
    // a later signal comes. So both are made here, the table up to the last signal.
    QObject::connect(device, &QIODevice::readChannelFinished, device, [] {});
    const QPointer<QIODevice> guard(device);
}

void ReaderConnections::add(QObject* reader, const std::shared_ptr<ReaderCall>& call)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!emittedElsewhere()) {
        connect({reader, call});
        return;
    }
    // As above: the reader's own thread is going to emit while another one connects it.
    QObject::connect(reader, &QObject::objectNameChanged, reader, [] {});
    m_waiting.push_back({reader, call});
}

void ReaderConnections::remove(QObject* reader)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto isReader = [reader](const Waiting& waiting) { return waiting.reader == reader; };
    m_waiting.erase(std::remove_if(m_waiting.begin(), m_waiting.end(), isReader), m_waiting.end());
    QIODevice* const device = m_device;
    lock.unlock(); // what others have connected may be freed here, and that can be any code
    QObject::disconnect(device, nullptr, reader, nullptr);
    lock.lock();
    if (emittedElsewhere()) {
        m_keepsakes.push_back(std::make_unique<QObject>());
        m_keepsakes.back()->moveToThread(reader->thread());
    }
}

bool ReaderConnections::emittedHere() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::count(m_emitters.begin(), m_emitters.end(), QThread::currentThread()) > 0;
}

bool ReaderConnections::deviceLives() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_device;
}

void ReaderConnections::deviceEnds()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_device = nullptr;
    m_emissionEnded.wait(lock, [this] { return !emittedElsewhere(); });
}

void ReaderConnections::connectNothing(QObject* reader)
{
    const QIODevice* const none = nullptr;
    kel::connect(none, SIGNAL(bytesWritten(qint64)), reader, SLOT(onBytesWritten(qint64)));
    kel::connect(none, SIGNAL(aboutToClose()), reader, SLOT(onBufferClose()));
}

void ReaderConnections::Waiting::post(Signal signal) const
{
    if (signal == BytesWritten)
        call->post(0);
    else
        QMetaObject::invokeMethod(reader, "onBufferClose", Qt::QueuedConnection);
}

void ReaderConnections::connect(const Waiting& waiting)
{
    QObject::connect(
        m_device, &QIODevice::bytesWritten, waiting.reader,
        [call = waiting.call](qint64 count) { call->callOrPost(count); }, Qt::DirectConnection);
    kel::connect(m_device, SIGNAL(aboutToClose()), waiting.reader, SLOT(onBufferClose()));
}

bool ReaderConnections::begin(Signal signal)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device)
        return false;
    tidy();
    for (const Waiting& waiting : m_waiting)
        waiting.post(signal);
    m_emitters.push_back(QThread::currentThread());
    return true;
}

void ReaderConnections::end()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_emitters.erase(std::find(m_emitters.begin(), m_emitters.end(), QThread::currentThread()));
    tidy();
    m_emissionEnded.notify_all();
}

bool ReaderConnections::emittedElsewhere() const
{
    const QThread* const here = QThread::currentThread();
    return std::any_of(m_emitters.begin(), m_emitters.end(),
                       [here](const QThread* emitter) { return emitter != here; });
}

/** Does what had to wait for emissions in other threads, if there are none. */
void ReaderConnections::tidy()
{
    if (!m_device || emittedElsewhere())
        return;
    m_keepsakes.clear();
    for (const Waiting& waiting : std::exchange(m_waiting, {}))
        connect(waiting);
}

} // namespace kel
