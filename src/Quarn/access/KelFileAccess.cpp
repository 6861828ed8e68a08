#include <Quarn/access/KelFileAccess.h>

#include <Quarn/access/SecretText_p.h>
#include <Quarn/access/fileTransfer_p.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QFileInfo>
#include <QMutexLocker>

#include <mutex>
#include <utility>

namespace kel {

/** Hands \a request to the worker, with the details that \a store keeps, unless it is refused. */
template <typename Store>
bool KelFileAccess::handOver(Request request, State needed, Store store)
{
    // On the worker thread only slots of its own signals run: it is busy, as they are part of it.
    if (QThread::currentThread() == this)
        return false;
    const QMutexLocker locker(&m_mutex);
    if (m_request != NoRequest || m_state != needed || m_ending)
        return false;
    store();
    m_request = request;
    m_waitCondition.wakeOne();
    return true;
}

KelFileAccess::KelFileAccess(const QString& fileName, QObject* parent)
    : QThread(parent), m_state(Closed), m_request(NoRequest), m_threaded(false), m_ending(false),
      m_fileName(fileName), m_file(fileName, this), m_error(QFile::NoError),
      m_pendingBuffer(nullptr), m_maxSize(0)
{ }

KelFileAccess::~KelFileAccess()
{
    if (QThread::currentThread() == this)
        qFatal("kel::KelFileAccess: destroyed on its own worker thread; use deleteLater()");
    {
        const QMutexLocker locker(&m_mutex);
        m_ending = true;
        m_waitCondition.wakeOne();
    }
    wait();
    carryOut(); // what no worker has come for
}

void KelFileAccess::setUserAndPassword(const QString& user, const QString& password)
{
    auto secret = std::make_unique<SecretText>(password);
    const QMutexLocker locker(&m_mutex);
    m_user = user;
    m_password.swap(secret);
}

bool KelFileAccess::open(QIODevice::OpenMode mode, bool threaded)
{
    {
        const QMutexLocker locker(&m_mutex);
        m_threaded = threaded;
    }
    if (threaded)
        return handOver(OpenRequest, Closed, [&] { m_openMode = mode; });
    carryOut();
    const QMutexLocker locker(&m_fileMutex);
    const bool opened = openFile(mode);
    setState(opened ? Opened : OpenFailed);
    return opened;
}

void KelFileAccess::close()
{
    if (isThreaded()) {
        handOver(CloseRequest, Opened, [] {});
        return;
    }
    carryOut();
    const QMutexLocker locker(&m_fileMutex);
    closeFile();
    setState(Closed);
}

void KelFileAccess::read(QByteArray& target, qint64 maxSize)
{
    if (isThreaded()) {
        handOver(ReadRequest, Opened, [&] {
            m_pendingBuffer = &target;
            m_maxSize = maxSize;
        });
        return;
    }
    carryOut();
    const QMutexLocker locker(&m_fileMutex);
    setState(Reading);
    readFile(maxSize, target);
    setState(Closed);
}

void KelFileAccess::write(const QByteArray& data)
{
    if (isThreaded()) {
        handOver(WriteRequest, Opened, [&] { m_pendingData = data; });
        return;
    }
    carryOut();
    const QMutexLocker locker(&m_fileMutex);
    setState(Writing);
    writeFile(data);
    setState(Closed);
}

bool KelFileAccess::exists() const
{
    const std::unique_lock<QMutex> idle(m_fileMutex, std::try_to_lock);
    return idle ? m_file.exists() : QFile::exists(m_fileName);
}

qint64 KelFileAccess::size() const
{
    const std::unique_lock<QMutex> idle(m_fileMutex, std::try_to_lock);
    return idle ? m_file.size() : QFileInfo(m_fileName).size();
}

QFile::FileError KelFileAccess::error() const
{
    return m_error;
}

bool KelFileAccess::isIdle() const
{
    const QMutexLocker locker(&m_mutex);
    return m_request == NoRequest;
}

void KelFileAccess::stop()
{
    requestInterruption(); // until the next start()
    const QMutexLocker locker(&m_mutex);
    m_waitCondition.wakeOne();
}

bool KelFileAccess::impersonate() const
{
    return true;
}

void KelFileAccess::revertToSelf() const { }

bool KelFileAccess::isThreaded()
{
    const QMutexLocker locker(&m_mutex);
    return m_threaded;
}

void KelFileAccess::setState(State state)
{
    const QMutexLocker locker(&m_mutex);
    m_state = state;
}

void KelFileAccess::run()
{
    while (waitForRequest())
        carryOut();
}

/** False when the worker is to end and all that was accepted is done. */
bool KelFileAccess::waitForRequest()
{
    const QMutexLocker locker(&m_mutex);
    while (m_request == NoRequest && !m_ending && !isInterruptionRequested())
        m_waitCondition.wait(&m_mutex);
    return m_request != NoRequest;
}

KelFileAccess::Request KelFileAccess::acceptedRequest()
{
    const QMutexLocker locker(&m_mutex);
    return m_request;
}

/**
 * Carries out the accepted request, if there is one: the worker, or a call that comes before it.
 *
 * The request counts as done before its signal is emitted: whoever receives that in another thread
 * may make the next one, however long directly connected slots still run here.
 */
void KelFileAccess::carryOut()
{
    QMutexLocker locker(&m_fileMutex);
    switch (acceptedRequest()) {
    case OpenRequest:
        requestDone(openFile(m_openMode) ? Opened : OpenFailed);
        break;
    case CloseRequest:
        closeFile();
        requestDone(Closed);
        break;
    case ReadRequest: {
        setState(Reading);
        readFile(m_maxSize, *m_pendingBuffer);
        const qint64 bytesRead = m_pendingBuffer->size();
        requestDone(stateOfFile());
        locker.unlock();
        Q_EMIT readFinished(bytesRead);
        break;
    }
    case WriteRequest: {
        setState(Writing);
        const qint64 bytesWritten = writeFile(std::exchange(m_pendingData, QByteArray()));
        requestDone(stateOfFile());
        locker.unlock();
        Q_EMIT writeFinished(bytesWritten);
        break;
    }
    case NoRequest:
        break;
    }
}

void KelFileAccess::requestDone(State state)
{
    const QMutexLocker locker(&m_mutex);
    m_state = state;
    m_request = NoRequest;
}

/** Closed if a direct close() of another thread came before the request. */
KelFileAccess::State KelFileAccess::stateOfFile() const
{
    return m_file.isOpen() ? Opened : Closed;
}

bool KelFileAccess::openFile(QIODevice::OpenMode mode)
{
    // A buffer would hide a full disk from the write that fills it, and write again what failed.
    const bool named = hasSystemForm(m_fileName);
    const bool opened = named && m_file.open(mode | QIODevice::Unbuffered);
    m_error = named ? m_file.error() : QFile::OpenError;
    return opened;
}

void KelFileAccess::closeFile()
{
    m_file.close();
    m_error = m_file.error();
}

void KelFileAccess::readFile(qint64 maxSize, QByteArray& target)
{
    const bool enoughMemory = readUpTo(m_file, maxSize, target);
    m_error = enoughMemory ? m_file.error() : QFile::ResourceError;
}

qint64 KelFileAccess::writeFile(const QByteArray& data)
{
    const qint64 count = writeAll(m_file, data);
    m_error = m_file.error();
    return count;
}

} // namespace kel
