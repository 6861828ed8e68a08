#include "InputFile.h"

InputFile::InputFile(const QString& path, const StopSwitch& stop)
    : FileStream(path), m_path(path), m_stop(stop), m_source(*this, stop)
{ }

bool InputFile::openInput()
{
    const QString reason = m_source.open(m_path);
    return reason.isEmpty() || refuse(reason);
}

qint64 InputFile::expectedSize() const
{
    // The files of /proc and the like claim to be empty, whatever they hold.
    const qint64 rest = isSequential() ? 0 : size() - pos();
    return rest > 0 ? rest : -1;
}

QString InputFile::failure() const
{
    if (!m_refusal.isEmpty())
        return m_refusal;
    return ioFailureDetected() ? QStringLiteral("cannot read %1: %2").arg(name(), errorString())
                               : QString();
}

QString InputFile::name() const
{
    return nameOf(m_path);
}

QString InputFile::nameOf(const QString& path)
{
    return path == QLatin1String("-") ? QStringLiteral("standard input") : path;
}

qint64 InputFile::readData(char* data, qint64 maxSize)
{
    if (!nonBlocking())
        return FileStream::readData(data, maxSize);
    QString reason;
    const qint64 count = m_source.read(data, maxSize, &reason);
    if (count < 0)
        setErrorString(reason);
    return count;
}

const StopSwitch& InputFile::stopSwitch() const
{
    return m_stop;
}

bool InputFile::refuse(const QString& reason)
{
    m_refusal = QStringLiteral("cannot read %1: %2").arg(name(), reason);
    return false;
}

QString InputFile::path() const
{
    return m_path;
}
