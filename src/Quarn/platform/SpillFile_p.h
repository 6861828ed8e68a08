#ifndef QUARN_PLATFORM_SPILLFILE_P_H
#define QUARN_PLATFORM_SPILLFILE_P_H

#include <QString>

#include <memory>

namespace kel {

/**
 * \brief A file without a name, or one that the system deletes with this process, for what is too
 * much for memory.
 *
 * Only the owner may read it while it has a name at all. What fails puts the reason, in the system's
 * words, into \a reason.
 *
 * \par Threads
 * One thread opens and writes; any number may read and release other ranges meanwhile.
 */
class SpillFile
{
public:
    SpillFile();
    SpillFile(const SpillFile&) = delete;
    SpillFile& operator=(const SpillFile&) = delete;
    ~SpillFile();

    bool isOpen() const;
    /** In \a folder; an empty one is missing, never the working folder or the root. */
    bool open(const QString& folder, QString* reason);

    /** Writes all of it at \a position, or fails. */
    bool write(qint64 position, const char* data, qint64 size, QString* reason);

    /** Reads all of it, or fails, as it does at the end of the file. */
    bool read(qint64 position, char* data, qint64 size, QString* reason) const;

    /** Gives the room of a range back to the disk, where the file system can do that. */
    void release(qint64 position, qint64 size);

private:
    struct Handle;

    std::unique_ptr<Handle> m_handle;
};

} // namespace kel
#endif
