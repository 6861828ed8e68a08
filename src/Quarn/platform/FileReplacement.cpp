#include <Quarn/platform/FileReplacement_p.h>

namespace kel {

QString FileReplacement::Failure::message() const
{
    return QStringLiteral("could not be %1: %2").arg(attempt, reason);
}

FileReplacement::FileReplacement() = default;

FileReplacement::~FileReplacement()
{
    discard();
}

bool FileReplacement::create(const QString& target, QFile& file, QIODevice::OpenMode mode)
{
    m_failure = Failure();
    if (find(target) && open(file, mode))
        return true;
    discard();
    return false;
}

bool FileReplacement::complete(QFile& file)
{
    if (!m_place)
        return false;
    // A short count comes without an error; only the next attempt tells the reason.
    if (!file.flush() && !file.flush())
        return fail(QFileDevice::WriteError, "written", file.errorString());
    return takeAttributes(file.handle()) && synchronize(file.handle());
}

bool FileReplacement::replace()
{
    if (!m_place || m_failure.error != QFileDevice::NoError || !rename())
        return false;
    m_place.reset();
    return true;
}

void FileReplacement::discard()
{
    if (m_place)
        remove();
    m_place.reset();
}

bool FileReplacement::fail(QFileDevice::FileError error, const char* attempt, const QString& reason)
{
    if (m_failure.error == QFileDevice::NoError)
        m_failure = {error, QLatin1String(attempt), reason};
    return false;
}

bool FileReplacement::failBySystem(QFileDevice::FileError error, const char* attempt)
{
    return fail(error, attempt, qt_error_string());
}

FileReplacement::Failure FileReplacement::replaceContents(const QString& target,
                                                          const QByteArray& contents)
{
    FileReplacement replacement;
    QFile file;
    if (!replacement.create(target, file, QIODevice::WriteOnly | QIODevice::Unbuffered))
        return replacement.failure();
    qint64 written = 0;
    for (qint64 count = 1; written < contents.size() && count > 0; written += count)
        count = file.write(contents.constData() + written, contents.size() - written);
    const bool complete
        = written == contents.size()
              ? replacement.complete(file)
              : replacement.fail(QFileDevice::WriteError, "written", file.errorString());
    file.close();
    if (complete && file.error() != QFileDevice::NoError)
        replacement.fail(QFileDevice::WriteError, "written", file.errorString());
    if (!replacement.replace())
        replacement.discard();
    return replacement.failure();
}

} // namespace kel
