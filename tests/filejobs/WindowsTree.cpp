#include "GeneratedTree.h"

#include "support/testBytes.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>

#include <windows.h>

#include <random>

namespace {

/** Of files and folders with the attributes and times that Windows knows. */
class Generator
{
public:
    explicit Generator(unsigned seed) : m_random(seed) { }

    void fill(const QString& folder, int depth)
    {
        static const char* const names[] = {"a.txt", ".h", "b", "c d", "\xc3\xa4.jpg", "e.jpg"};
        for (const char* const name : names) {
            const QString path = folder + QLatin1Char('/') + QString::fromUtf8(name);
            if (m_random() % 4 == 0 && depth < 3) {
                QDir().mkdir(path);
                fill(path, depth + 1);
            } else {
                static const int sizes[] = {0, 1, 4096, 65537, 300000, 3 << 20};
                QFile file(path);
                file.open(QIODevice::WriteOnly);
                file.write(testBytes(sizes[m_random() % 6]));
            }
            decorate(QDir::toNativeSeparators(path).toStdWString());
        }
    }

private:
    void decorate(const std::wstring& path)
    {
        static const DWORD attributes[] = {FILE_ATTRIBUTE_NORMAL, FILE_ATTRIBUTE_READONLY,
                                           FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM};
        FILE_BASIC_INFO information = {};
        information.LastWriteTime.QuadPart = 116444736000000000 + qint64(m_random()) * 10000000;
        information.FileAttributes = attributes[m_random() % 3];
        const HANDLE handle
            = ::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                            OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
        ::SetFileInformationByHandle(handle, FileBasicInfo, &information, sizeof information);
        ::CloseHandle(handle);
    }

    std::minstd_rand m_random;
};

QByteArray describeEntry(const QString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ::GetFileAttributesExW(QDir::toNativeSeparators(path).toStdWString().c_str(),
                           GetFileExInfoStandard, &data);
    const bool isFolder = data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY;
    constexpr DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Md5);
    if (!isFolder && file.open(QIODevice::ReadOnly))
        hash.addData(&file);
    return (isFolder ? "4" : "1") + QByteArray::number(uint(data.dwFileAttributes & kept)) + " at "
           + QByteArray::number(uint(data.ftLastWriteTime.dwHighDateTime)) + '.'
           + QByteArray::number(uint(data.ftLastWriteTime.dwLowDateTime)) + ' '
           + hash.result().toHex();
}

} // namespace

Description describe(const QByteArray& root)
{
    const QString top = QString::fromUtf8(root);
    Description result{{"", describeEntry(top)}};
    QDirIterator entries(top, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        result[path.mid(top.size()).toUtf8()] = describeEntry(path);
    }
    return result;
}

void generateTree(const QByteArray& root, unsigned seed)
{
    QDir().mkdir(QString::fromUtf8(root));
    Generator(seed).fill(QString::fromUtf8(root), 0);
}
