#ifndef QUARN_SIGNATURE_STRICTFILE_P_H
#define QUARN_SIGNATURE_STRICTFILE_P_H

#include <QFile>

namespace kel {

/**
 * \brief A regular file that is read from its begin to its end.
 *
 * What is no regular file, a read that fails, and a size that changes meanwhile are an IOException
 * "Could not read <path>".
 */
class StrictFile
{
public:
    explicit StrictFile(const QString& path);

    qint64 size() const { return m_size; }

    /** Puts up to \a wanted bytes, more than 0, into \a data; 0 at the end and only there. */
    int read(char* data, int wanted);

    /** The contents, when nothing was read yet; fails for more than \a maxSize bytes. Never null. */
    QByteArray readAll(qint64 maxSize);

private:
    [[noreturn]] void refuse() const;

    const QString m_path;
    QFile m_file;
    qint64 m_size = 0;
    qint64 m_read = 0;
};

} // namespace kel
#endif
