#ifndef QUARN_PLATFORM_MAPPEDFILE_P_H
#define QUARN_PLATFORM_MAPPEDFILE_P_H

#include <QString>

#include <memory>

namespace kel {

/**
 * \brief A regular file in memory, to be read only, as long as it was when it was opened.
 *
 * Bytes that the file no longer has, because it was cut short, are zeros where the system lets that
 * happen at all; it then isn't intact any more, for good.
 *
 * \par Threads
 * After open() any number may use it at once.
 */
class MappedFile
{
public:
    MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    /** Never waits; a failure puts the reason, in the system's words, into \a reason. Once only. */
    bool open(const QString& path, QString* reason);
    bool isOpen() const;
    qint64 size() const;

    /** The first of size() bytes; not null when open. */
    const unsigned char* bytes() const;

    /** Copies \a count bytes from \a position on, which must be inside; false unless it is intact. */
    bool read(qint64 position, void* data, qint64 count) const;

    /** Whether all bytes that were read up to now were the file's. */
    bool isIntact() const;

private:
    struct Mapping;
    std::unique_ptr<Mapping> m_mapping;
};

} // namespace kel
#endif
