#include <Quarn/multiuser/ReaderConnections_p.h>

#include <Quarn/companion/connect.h>
#include <Quarn/multiuser/ReaderCall_p.h>

#include <QIODevice>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <new>
#include <utility>

namespace kel {

ReaderConnections::Emission::Emission(std::shared_ptr<ReaderConnections> connections, Signal signal)
    : m_connections(std::move(connections)), m_count(m_connections->begin(signal))
{ }

ReaderConnections::Emission::~Emission()
{
    if (m_count >= 0)
        m_connections->end();
}

ReaderConnections::ReaderConnections(QIODevice* device)
    : m_progress(std::make_shared<WriteProgress>()), m_device(device)
{
    // What Qt makes at the first connection or guarded pointer it publishes without order, and the
    // table of signals it even replaces, and frees, under a running emission, once a connection to
    // a later signal comes. So both are made here, the table up to the last signal.
    QObject::connect(device, &QIODevice::readChannelFinished, device, [] {});
    const QPointer<QIODevice> guard(device);
}

void ReaderConnections::add(QObject* reader, const std::shared_ptr<ReaderCall>& call,
                            std::function<void()> closed)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    call->follow(m_progress);
    m_readers.push_back({reader, call, std::move(closed), false, nullptr});
    try {
        if (!emittedElsewhere())
            connect(m_readers.back());
        else // As above: the reader's own thread is going to emit while another one connects it.
            QObject::connect(reader, &QObject::objectNameChanged, reader, [] {});
    } catch (...) {
        m_readers.pop_back();
        throw;
    }
}

void ReaderConnections::remove(QObject* reader, std::unique_ptr<QObject> keepsake)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    find(reader)->call.reset(); // nobody connects or tells it from now on
    QIODevice* const device = m_device;
    lock.unlock(); // what others have connected may be freed here, and that can be any code
    QObject::disconnect(device, nullptr, reader, nullptr);
    lock.lock();
    const auto removed = find(reader);
    if (emittedElsewhere()) {
        removed->reader = nullptr;
        removed->keepsake = std::move(keepsake);
    } else {
        m_readers.erase(removed);
    }
}

void ReaderConnections::written(qint64 count)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_progress->written += count;
    const QThread* const home = m_device->thread();
    for (const Reader& reader : m_readers)
        if (reader.call)
            reader.call->written(home);
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

void ReaderConnections::Reader::post(Signal signal) const
{
    if (signal == BytesWritten) {
        call->postEmitted();
        return;
    }
    try {
        QMetaObject::invokeMethod(reader, closed, Qt::QueuedConnection);
    } catch (const std::bad_alloc&) {
        return; // a blocked read notices when its slice ends
    }
}

std::vector<ReaderConnections::Reader>::iterator ReaderConnections::find(const QObject* reader)
{
    return std::find_if(m_readers.begin(), m_readers.end(),
                        [reader](const Reader& one) { return one.reader == reader; });
}

void ReaderConnections::connect(Reader& reader)
{
    const QMetaObject::Connection written = QObject::connect(
        m_device, &QIODevice::bytesWritten, reader.reader,
        [call = reader.call] { call->emitted(); }, Qt::DirectConnection);
    try {
        QObject::connect(m_device, &QIODevice::aboutToClose, reader.reader, reader.closed);
    } catch (...) {
        QObject::disconnect(written);
        throw;
    }
    reader.connected = true;
}

qint64 ReaderConnections::begin(Signal signal)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_device)
        return -1;
    tidy();
    m_emitters.push_back(QThread::currentThread());
    const qint64 written = m_progress->written;
    const qint64 count = signal == BytesWritten ? written - m_progress->emitted : 0;
    m_progress->emitted += count;
    for (const Reader& reader : m_readers)
        if (reader.call && !reader.connected)
            reader.post(signal);
    return count;
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
    const auto forgotten = [](const Reader& reader) { return !reader.reader; };
    m_readers.erase(std::remove_if(m_readers.begin(), m_readers.end(), forgotten), m_readers.end());
    try {
        for (Reader& reader : m_readers)
            if (reader.call && !reader.connected)
                connect(reader);
    } catch (const std::bad_alloc&) {
        return; // until the next emission those that are left are called directly
    }
}

} // namespace kel
