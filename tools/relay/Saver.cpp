#include "Saver.h"

#include <Quarn/companion/IOException.h>
#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>

namespace {

constexpr qint64 portion = 64 * 1024;

} // namespace

Saver::Saver(const QString& path, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("saver"), channel, stop), m_file(path)
{
    // Unbuffered, so that every write tells at once whether the disk took it.
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        fail(m_file.errorString());
}

Saver::~Saver() = default;

QString Saver::temporaryPath() const
{
    return m_file.temporaryPath();
}

void Saver::publish()
{
    if (!m_file.commit())
        fail(m_file.errorString());
}

void Saver::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    qint64 count = portion;
    while (!stopped() && count == portion) {
        count = kel::StreamUtils::copy(reader.get(), &m_file, portion);
        addBytes(count);
    }
    if (deliveredAll(*reader) || m_file.ioFailureDetected())
        finish();
}

void Saver::finish()
{
    const qint64 size = m_file.streamSize();
    m_file.close();
    if (m_file.ioFailureDetected())
        fail(m_file.errorString());
    if (size != bytes())
        fail(QStringLiteral("It got %1 of %2 bytes").arg(size).arg(bytes()));
}

void Saver::fail(const QString& reason) const
{
    throw kel::IOException(QStringLiteral("cannot save %1: %2").arg(m_file.fileName(), reason));
}
