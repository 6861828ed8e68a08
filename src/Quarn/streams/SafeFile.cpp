#include <Quarn/streams/SafeFile.h>

#include <Quarn/platform/FileReplacement_p.h>

namespace kel {

SafeFile::SafeFile(const QString& path, QObject* parent)
    : kelmQFile(QString(), parent), m_path(path), m_replacement(new FileReplacement),
      m_complete(false)
{ }

SafeFile::~SafeFile()
{
    kelmQFile::close(); // not for a commit() to follow
}

bool SafeFile::open(OpenMode mode)
{
    constexpr OpenMode known = ReadWrite | Unbuffered | Text | Truncate;
    if (isOpen())
        return false;
    m_replacement->discard();
    m_complete = false;
    if (!(mode & WriteOnly) || (mode & ~known))
        return fail("opened", QStringLiteral("A file cannot be saved in this mode"));
    // Qt takes a file whose fstat() failed for a pipe.
    if (m_replacement->create(m_path, *this, mode & ~Truncate) && !isSequential())
        return true;
    const QString reason = m_replacement->failure().reason;
    kelmQFile::close();
    m_replacement->discard();
    return fail("opened", reason.isEmpty() ? QStringLiteral("Cannot tell what kind of file this is")
                                           : reason);
}

void SafeFile::close()
{
    if (!isOpen())
        return;
    const bool complete = !ioFailureDetected() && m_replacement->complete(*this);
    kelmQFile::close();
    m_complete = complete && error() == NoError;
    if (!m_complete)
        fail("written", errorString());
}

bool SafeFile::commit()
{
    close();
    if (m_complete && m_replacement->replace()) {
        m_complete = false;
        return true;
    }
    m_replacement->discard();
    return fail("saved", QStringLiteral("Nothing was written"));
}

QString SafeFile::fileName() const
{
    return m_path; // which QFile forgets when it is opened by a handle
}

QString SafeFile::temporaryPath() const
{
    return m_replacement->path();
}

bool SafeFile::ioFailureDetected() const
{
    return m_replacement->failure().error != NoError || kelmQFile::ioFailureDetected();
}

void SafeFile::setThroughputStats(quint64, quint64, quint64, quint64) { }

qint64 SafeFile::writeData(const char* data, qint64 size)
{
    qint64 written = 0;
    while (written < size && m_replacement->failure().error == NoError) {
        // Of a full disk a first write gets a part in, and only the next one hears why.
        const qint64 count = kelmQFile::writeData(data + written, size - written);
        if (count > 0)
            written += count;
        else
            fail("written", errorString());
    }
    return written > 0 || size == 0 ? written : -1;
}

/** Closing a device drops its error; the first one stays here. */
bool SafeFile::fail(const char* attempt, const QString& reason)
{
    m_replacement->fail(WriteError, attempt, reason);
    setErrorString(m_replacement->failure().reason);
    return false;
}

} // namespace kel
