#include "GeneratedTree.h"

#include "support/testBytes.h"

#include <QCryptographicHash>
#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <random>

namespace {

constexpr char attribute[] = "user.quarn.test";
// Only root may set these, and all but the last are copied.
constexpr const char* rootsAttributes[]
    = {"trusted.quarn.test", "security.capability", "security.quarn.test"};

class Generator
{
public:
    explicit Generator(unsigned seed) : m_random(seed) { }

    void fill(const QByteArray& folder, int depth)
    {
        static const QByteArray names[] = {"a.txt", ".h", "b\xff", "c d", "\xc3\xa4.jpg", "e.jpg"};
        for (const QByteArray& name : names) {
            const QByteArray path = folder + '/' + name;
            const unsigned kind = m_random() % 16;
            if (kind < 4 && depth < 3)
                ::mkdir(path, 0700), fill(path, depth + 1);
            else if (kind == 5)
                ::symlink(kind % 2 ? "../a.txt" : "nowhere", path);
            else if (kind == 6)
                ::mkfifo(path, 0640);
            else if (kind == 7 && !m_files.isEmpty())
                ::link(m_files.at(int(m_random()) % m_files.size()), path);
            else
                makeFile(path);
            decorate(path);
        }
    }

private:
    void makeFile(const QByteArray& path)
    {
        static const int sizes[] = {0, 1, 4096, 65536, 65537, 300000};
        QFile file(QFile::decodeName(path));
        // Names of broken UTF-8 are beyond QFile.
        file.open(::open(path, O_WRONLY | O_CREAT | O_EXCL, 0600), QIODevice::WriteOnly,
                  QFile::AutoCloseHandle);
        file.write(testBytes(sizes[m_random() % 6]));
        if (m_random() % 4 == 0) { // holes, in the middle and at the end
            file.seek(2 << 20);
            file.write("data behind a hole");
            file.resize(3 << 20);
        }
        m_files.append(path);
    }

    void decorate(const QByteArray& path)
    {
        const QByteArray value = QByteArray::number(unsigned(m_random()));
        if (m_random() % 2)
            ::lsetxattr(path, attribute, value, size_t(value.size()), 0);
        struct stat status;
        if (::lstat(path, &status) == 0 && !S_ISLNK(status.st_mode)) {
            const auto none
                = QByteArray::fromHex("00000002").leftJustified(20, '\0'); // may be done
            for (const char* const name : rootsAttributes)
                if (!S_ISFIFO(status.st_mode)) // a pipe's are not copied
                    ::setxattr(path, name, none, size_t(none.size()), 0);
            ::chmod(path, S_ISDIR(status.st_mode) ? 0750 : m_random() % 2 ? 0440 : 06711);
        }
        const timespec times[] = {{1, 0}, {long(m_random() % 1000000000), long(m_random() % 999)}};
        ::utimensat(AT_FDCWD, path, times, AT_SYMLINK_NOFOLLOW);
    }

    std::minstd_rand m_random;
    QList<QByteArray> m_files;
};

QByteArray contentsOf(const QByteArray& path, mode_t mode)
{
    if (S_ISLNK(mode))
        return std::filesystem::read_symlink(path.toStdString()).c_str();
    if (!S_ISREG(mode))
        return QByteArray();
    QFile file;
    file.open(::open(path, O_RDONLY), QIODevice::ReadOnly, QFile::AutoCloseHandle);
    QCryptographicHash hash(QCryptographicHash::Md5);
    hash.addData(&file);
    return hash.result().toHex();
}

} // namespace

Description describe(const QByteArray& root)
{
    Description result;
    std::map<ino_t, QByteArray> firstNames;
    const auto add = [&](const QByteArray& name) {
        const QByteArray path = root + name;
        struct stat status;
        ::lstat(path, &status);
        char value[64];
        const ssize_t size = ::lgetxattr(path, attribute, value, sizeof value);
        const QByteArray first = firstNames.emplace(status.st_ino, name).first->second;
        result[name]
            = QByteArray::number(status.st_mode, 8) + " at "
              + QByteArray::number(qint64(status.st_mtim.tv_sec)) + '.'
              + QByteArray::number(qint64(status.st_mtim.tv_nsec)) + " of "
              + QByteArray::number(status.st_uid) + ' '
              + QByteArray(value, int(qMax<ssize_t>(size, 0)))
              + QByteArray::number(int(::lgetxattr(path, rootsAttributes[0], nullptr, 0)))
              + QByteArray::number(int(::lgetxattr(path, rootsAttributes[1], nullptr, 0)))
              + (S_ISDIR(status.st_mode) ? "" : " of " + QByteArray::number(qint64(status.st_size)))
              + (S_ISREG(status.st_mode) && status.st_blocks * 512 < status.st_size - 65536
                     ? " with holes "
                     : " ")
              + contentsOf(path, status.st_mode) + " as " + first;
    };
    add("");
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root.toStdString()))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end()); // so that the first of several names is the same one
    for (const std::string& path : paths)
        add(QByteArray::fromStdString(path).mid(root.size()));
    return result;
}

void generateTree(const QByteArray& root, unsigned seed)
{
    ::mkdir(root, 0755);
    Generator(seed).fill(root, 0);
}
