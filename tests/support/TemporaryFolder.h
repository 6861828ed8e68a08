#ifndef QUARN_TESTS_SUPPORT_TEMPORARYFOLDER_H
#define QUARN_TESTS_SUPPORT_TEMPORARYFOLDER_H

#include <QFile>
#include <QTemporaryDir>

#include <filesystem>

/** A folder that goes with the object, whatever is in it: QTemporaryDir leaves some links. */
class TemporaryFolder : public QTemporaryDir
{
public:
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root().toStdString(), ignored);
    }

    QByteArray root() const { return QFile::encodeName(path()); }
    QString at(const char* name) const { return filePath(QString::fromUtf8(name)); }
};

#endif
