#include <Quarn/platform/FileReplacement_p.h>

#include <Quarn/platform/windows/SystemPath_p.h>

#include <QFileInfo>
#include <QRandomGenerator>

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <vector>

namespace kel {
namespace {

constexpr DWORD keptAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM
                                 | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;

HANDLE handleOf(int file)
{
    return reinterpret_cast<HANDLE>(::_get_osfhandle(file));
}

bool isNothingThere(DWORD error)
{
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

bool copyContents(const QString& from, const QString& to)
{
    constexpr qint64 portion = 65536;
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Unbuffered)
        || !target.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    QByteArray bytes;
    do {
        bytes = source.read(portion);
        if (target.write(bytes) != bytes.size())
            return false;
    } while (!bytes.isEmpty());
    return source.error() == QFileDevice::NoError;
}

/** The names of the streams beside the contents, such as ":comment"; none where there are no such. */
QStringList namedStreams(const QString& path)
{
    const QLatin1String type(":$DATA");
    QStringList names;
    WIN32_FIND_STREAM_DATA found;
    const HANDLE search
        = ::FindFirstStreamW(systemPath(path).c_str(), FindStreamInfoStandard, &found, 0);
    if (search == INVALID_HANDLE_VALUE)
        return names;
    do {
        const QString name = QString::fromWCharArray(found.cStreamName);
        if (name.endsWith(type) && !name.startsWith(QLatin1String("::")))
            names << name.chopped(type.size());
    } while (::FindNextStreamW(search, &found));
    ::FindClose(search);
    return names;
}

bool copyStreams(const QString& from, const QString& to)
{
    const QStringList names = namedStreams(from);
    for (const QString& name : names) {
        if (!copyContents(from + name, to + name))
            return false;
    }
    return true;
}

/** Who may do what with the file, as far as it was said for this file and not for its folder. */
bool copyAccessList(const std::wstring& from, const std::wstring& to)
{
    DWORD size = 0;
    ::GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return true; // a file system without
    std::vector<char> list(size);
    return ::GetFileSecurityW(from.c_str(), DACL_SECURITY_INFORMATION, list.data(), size, &size)
           && ::SetFileSecurityW(to.c_str(), DACL_SECURITY_INFORMATION, list.data());
}

} // namespace

struct FileReplacement::Place
{
    QString target;
    QString temporary;
};

QString FileReplacement::path() const
{
    return m_place ? m_place->temporary : QString();
}

bool FileReplacement::find(const QString& target)
{
    const QFileInfo info(target);
    // Not of a shortcut, which Qt counts among the links: it is a file like any other.
    const QString leadsTo = info.isSymbolicLink() ? info.symLinkTarget() : info.absoluteFilePath();
    if (systemPath(target).empty() || QFileInfo(leadsTo).isDir()
        || target.endsWith(QLatin1Char('/'))) {
        ::SetLastError(ERROR_INVALID_NAME);
        return failBySystem(QFileDevice::OpenError, "found");
    }
    m_place = std::make_shared<Place>();
    m_place->target = leadsTo;
    return true;
}

bool FileReplacement::open(QFile& file, QIODevice::OpenMode mode)
{
    const QFileInfo info(m_place->target);
    if (info.exists() && !info.isFile())
        return fail(QFileDevice::OpenError, "replaced", QStringLiteral("It is no regular file"));
    const DWORD attributes = ::GetFileAttributesW(systemPath(m_place->target).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)) {
        ::SetLastError(ERROR_ACCESS_DENIED);
        return failBySystem(QFileDevice::PermissionsError, "replaced");
    }
    const QString name = info.absolutePath() + QStringLiteral("/.save-")
                         + QString::number(QRandomGenerator::system()->generate64(), 16);
    const HANDLE handle = ::CreateFileW(systemPath(name).c_str(), GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, CREATE_NEW, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return failBySystem(QFileDevice::OpenError, "created in its folder");
    m_place->temporary = name;
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_BINARY);
    if (descriptor < 0) {
        ::CloseHandle(handle);
        return fail(QFileDevice::ResourceError, "opened", QStringLiteral("too many open files"));
    }
    if (file.open(descriptor, mode, QFileDevice::AutoCloseHandle))
        return true;
    ::_close(descriptor);
    return fail(QFileDevice::OpenError, "opened", file.errorString());
}

bool FileReplacement::takeAttributes(int)
{
    const std::wstring target = systemPath(m_place->target);
    const std::wstring temporary = systemPath(m_place->temporary);
    const DWORD attributes = ::GetFileAttributesW(target.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES && isNothingThere(::GetLastError()))
        return true;
    const DWORD kept = attributes & keptAttributes;
    const bool taken
        = attributes != INVALID_FILE_ATTRIBUTES && copyStreams(m_place->target, m_place->temporary)
          && copyAccessList(target, temporary)
          && ::SetFileAttributesW(temporary.c_str(), kept ? kept : FILE_ATTRIBUTE_NORMAL);
    return taken
           || failBySystem(QFileDevice::PermissionsError,
                           "given the attributes of the former file");
}

bool FileReplacement::synchronize(int file)
{
    return ::FlushFileBuffers(handleOf(file))
           || failBySystem(QFileDevice::WriteError, "written to the disk");
}

bool FileReplacement::rename()
{
    // Not ReplaceFile(), which does it in steps: after the first of them there is no target.
    return ::MoveFileExW(systemPath(m_place->temporary).c_str(),
                         systemPath(m_place->target).c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
           || failBySystem(QFileDevice::RenameError, "replaced");
}

void FileReplacement::remove()
{
    if (!m_place->temporary.isEmpty())
        ::DeleteFileW(systemPath(m_place->temporary).c_str());
}

} // namespace kel
