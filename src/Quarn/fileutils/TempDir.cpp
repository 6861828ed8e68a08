#include <Quarn/fileutils/TempDir.h>

#include <Quarn/companion/FileException.h>
#include <Quarn/platform/FolderRemoval_p.h>
#include <Quarn/platform/PrivateFolder_p.h>

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <new>
#include <utility>

namespace kel {
namespace {

QString tempFolder()
{
    QDir::temp().mkpath(QStringLiteral(".")); // Windows may name one that is missing
    return QDir::tempPath();
}

QString createIn(const QDir& parent)
{
    for (;;) {
        const quint64 random = QRandomGenerator::system()->generate64();
        const QString path = QDir::cleanPath(
            parent.absoluteFilePath(QStringLiteral("temp-") + QString::number(random, 16)));
        const FolderCreation creation = createPrivateFolder(path);
        if (creation == FolderCreation::Created)
            return path;
        if (creation == FolderCreation::Failed)
            throw FileException(QFileInfo(parent.path()), QFile::OpenError,
                                QStringLiteral("no folder could be created in it: ")
                                    + qt_error_string());
    }
}

} // namespace

TempDir::TempDir() : TempDir(tempFolder()) { }

TempDir::TempDir(const QString& parent) : m_path(createIn(QDir(parent))) { }

TempDir::TempDir(TempDir&& other) noexcept
    : m_path(std::exchange(other.m_path, {})), m_autoRemove(other.m_autoRemove)
{ }

TempDir& TempDir::operator=(TempDir&& other) noexcept
{
    std::swap(m_path, other.m_path);
    std::swap(m_autoRemove, other.m_autoRemove);
    return *this;
}

TempDir::~TempDir()
{
    try {
        if (m_autoRemove && !m_path.isEmpty())
            removeAll(m_path);
    } catch (const std::bad_alloc&) {
        return; // what is left is in the temporary folder
    }
}

QString TempDir::path() const
{
    return m_path;
}

QString TempDir::filePath(const QString& name) const
{
    return m_path.isEmpty() ? QString() : m_path + QLatin1Char('/') + name;
}

bool TempDir::autoRemove() const
{
    return m_autoRemove;
}

void TempDir::setAutoRemove(bool remove)
{
    m_autoRemove = remove;
}

QString TempDir::keep()
{
    m_autoRemove = false;
    return m_path;
}

void TempDir::remove()
{
    if (m_path.isEmpty())
        return;
    const int error = removeAll(m_path);
    if (error != 0)
        throw FileException(QFileInfo(m_path), QFile::RemoveError,
                            QStringLiteral("could not be removed: ") + qt_error_string(error));
    m_path.clear();
}

} // namespace kel
