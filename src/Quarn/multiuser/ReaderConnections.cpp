#include <Quarn/multiuser/ReaderConnections_p.h>

#include <Quarn/companion/connect.h>

#include <QIODevice>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <iterator>
#include <utility>

namespace kel {
namespace {

void call(QObject* reader, ReaderConnections::Signal signal)
{
    if (signal == ReaderConnections::BytesWritten)
        QMetaObject::invokeMethod(reader, "onBytesWritten", Qt::QueuedConnection, Q_ARG(qint64, 0));
    else
        QMetaObject::invokeMethod(reader, "onBufferClose", Qt::QueuedConnection);
}

} // namespace

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

void ReaderConnections::add(QObject* reader)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!emittedElsewhere()) {
        connect(m_device, reader);
        return;
    }
    // As above: the reader's own thread is going to emit while another one connects it.
    QObject::connect(reader, &QObject::objectNameChanged, reader, [] {});
    m_waiting.push_back(reader);
}

void ReaderConnections::remove(QObject* reader)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_waiting.erase(std::remove(m_waiting.begin(), m_waiting.end(), reader), m_waiting.end());
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

void ReaderConnections::connect(QIODevice* device, QObject* reader)
{
    kel::connect(device, SIGNAL(bytesWritten(qint64)), reader, SLOT(onBytesWritten(qint64)));
    kel::connect(device, SIGNAL(aboutToClose()), reader, SLOT(onBufferClose()));
}

bool ReaderConnections::begin(Signal signal)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device)
        return false;
    tidy();
    for (QObject* const reader : m_waiting)
        call(reader, signal);
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
    for (QObject* const reader : std::exchange(m_waiting, {}))
        connect(m_device, reader);
}

} // namespace kel
