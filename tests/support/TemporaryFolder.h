#ifndef QUARN_TESTS_SUPPORT_TEMPORARYFOLDER_H
#define QUARN_TESTS_SUPPORT_TEMPORARYFOLDER_H

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <filesystem>

/** Of the file at \a path; null when it cannot be opened. */
inline QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** A folder that goes with the object, whatever is in it: QTemporaryDir leaves some links. */
class TemporaryFolder : public QTemporaryDir
{
public:
    TemporaryFolder() = default;
    /** In \a preferred, if it can be. */
    explicit TemporaryFolder(const QString& preferred)
        : QTemporaryDir((QFileInfo(preferred).isWritable() ? preferred : QDir::tempPath())
                        + QStringLiteral("/test-XXXXXX"))
    { }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root().toStdString(), ignored);
    }

    QByteArray root() const { return QFile::encodeName(path()); }
    QString at(const char* name) const { return filePath(QString::fromUtf8(name)); }

    /** Of a file in the folder; null when it cannot be opened. */
    QByteArray contents(const char* name) const { return contentsOf(at(name)); }

    /** Ends the program when that cannot be done. */
    void write(const char* name, const QByteArray& bytes,
               QIODevice::OpenMode mode = QIODevice::WriteOnly) const
    {
        QFile file(at(name));
        if (!file.open(mode) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", name);
    }
};

#endif
