#include <Quarn/multiuser/MultiUserSpool.h>

#include <Quarn/companion/deviceFailure_p.h>
#include <Quarn/companion/narrow_p.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>
#include <Quarn/multiuser/spool/SpoolStore_p.h>

#include <boost/make_shared.hpp>

namespace kel {

MultiUserSpool::MultiUserSpool(QObject* parent) : MultiUserSpool(Settings(), parent) { }

MultiUserSpool::MultiUserSpool(const Settings& settings, QObject* parent)
    : QIODevice(parent), m_store(std::make_shared<SpoolStore>(settings))
{
    QIODevice::open(QIODevice::WriteOnly | QIODevice::Unbuffered);
}

MultiUserSpool::~MultiUserSpool()
{
    m_store->fail(QStringLiteral("The producer has gone without finishing"));
}

boost::shared_ptr<IRandomAccessIO>
MultiUserSpool::createReaderInterface(boost::shared_ptr<MultiUserSpool> spool, bool blocking)
{
    return boost::make_shared<MultiUserSpoolReader>(spool.get(), blocking);
}

MultiUserSpool::Figures MultiUserSpool::figures() const
{
    return m_store->figures();
}

qint64 MultiUserSpool::firstPosition() const
{
    return m_store->firstPosition();
}

void MultiUserSpool::cancel()
{
    m_store->fail(QStringLiteral("The producer was cancelled"));
}

void MultiUserSpool::setErrorString(const QString& text)
{
    if (isDeviceFailure(text))
        m_store->fail(text);
}

bool MultiUserSpool::isSequential() const
{
    return true;
}

bool MultiUserSpool::open(OpenMode)
{
    return false;
}

void MultiUserSpool::close()
{
    m_store->finish();
    QIODevice::close(); // forgets the error string
    if (m_store->failed())
        QIODevice::setErrorString(m_store->failure());
}

qint64 MultiUserSpool::size() const
{
    return m_store->written();
}

int MultiUserSpool::read(void*, int)
{
    return 0;
}

int MultiUserSpool::write(const void* data, int size)
{
    return size == 0 ? 0 : narrow(QIODevice::write(static_cast<const char*>(data), size));
}

qint64 MultiUserSpool::write(const QByteArray& bytes)
{
    return QIODevice::write(bytes);
}

qint64 MultiUserSpool::write(const char* text)
{
    return QIODevice::write(text);
}

void MultiUserSpool::enableNonBlockingMode(bool) { }

bool MultiUserSpool::nonBlocking()
{
    return true;
}

bool MultiUserSpool::readable()
{
    return false;
}

bool MultiUserSpool::writable()
{
    return !m_store->ended();
}

void MultiUserSpool::flush() { }

void MultiUserSpool::finishIO()
{
    close();
}

bool MultiUserSpool::ioFailureDetected() const
{
    return m_store->failed();
}

bool MultiUserSpool::eofEncountered() const
{
    return m_store->ended();
}

bool MultiUserSpool::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void MultiUserSpool::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool MultiUserSpool::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 MultiUserSpool::position() const
{
    return m_store->written();
}

bool MultiUserSpool::setPosition(qint64 position)
{
    return position == m_store->written();
}

qint64 MultiUserSpool::streamSize() const
{
    return m_store->written();
}

qint64 MultiUserSpool::readData(char*, qint64)
{
    return -1;
}

qint64 MultiUserSpool::writeData(const char* data, qint64 length)
{
    QString reason;
    const qint64 written = m_store->write(data, length, &reason);
    if (written < length)
        QIODevice::setErrorString(reason);
    return written;
}

} // namespace kel
