#include "Consumer.h"

#include "StopSwitch.h"

#include <Quarn/companion/ExceptionQt.h>
#include <Quarn/multiuser/MultiUserBuffer.h>

#include <QElapsedTimer>

Consumer::Consumer(const QString& name, boost::shared_ptr<kel::MultiUserBuffer> buffer,
                   const StopSwitch& stop)
    : m_name(name), m_buffer(std::move(buffer)), m_stop(stop), m_bytes(0), m_seconds(0),
      m_complete(false)
{ }

Consumer::~Consumer() = default;

QString Consumer::name() const
{
    return m_name;
}

qint64 Consumer::bytes() const
{
    return m_bytes;
}

double Consumer::seconds() const
{
    return m_seconds;
}

bool Consumer::complete() const
{
    return m_complete;
}

QString Consumer::failure() const
{
    return m_failure;
}

QString Consumer::result() const
{
    return QStringLiteral("complete");
}

void Consumer::addBytes(qint64 count)
{
    m_bytes.store(m_bytes.load(std::memory_order_relaxed) + count, std::memory_order_relaxed);
}

bool Consumer::stopped() const
{
    return m_stop.stopped();
}

void Consumer::run()
{
    QElapsedTimer elapsed;
    elapsed.start();
    try {
        const auto reader = kel::MultiUserBuffer::createReaderInterface(m_buffer, true);
        consume(reader);
        m_complete = deliveredAll(*reader);
    } catch (const kel::ExceptionQt& exception) {
        m_failure = exception.message();
    } catch (const std::exception& exception) {
        m_failure = QString::fromLocal8Bit(exception.what());
    }
    m_seconds = double(elapsed.nsecsElapsed()) / 1e9;
}

bool deliveredAll(const kel::IRandomAccessIO& reader)
{
    return reader.eofEncountered() && !reader.ioFailureDetected();
}
