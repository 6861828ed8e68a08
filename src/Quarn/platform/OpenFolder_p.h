#ifndef QUARN_PLATFORM_OPENFOLDER_P_H
#define QUARN_PLATFORM_OPENFOLDER_P_H

#include <QString>

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace kel {

/** A name as the system has it; on Linux any bytes, which a QString may not hold. */
using SystemName = std::filesystem::path::string_type;
using SystemNameView = std::basic_string_view<SystemName::value_type>;

/** \a name for users, and to look it up again unless it is broken. */
QString displayName(SystemNameView name);
SystemName systemName(const QString& name);

/** Which file it is, whatever its names are. */
struct FileId
{
    quint64 volume = 0;
    std::array<quint64, 2> number = {};

    bool operator==(const FileId& other) const
    {
        return volume == other.volume && number == other.number;
    }
    bool operator<(const FileId& other) const
    {
        return volume != other.volume ? volume < other.volume : number < other.number;
    }
};

/** Links are never followed: a link is one, wherever it leads. Junctions count as links. */
enum class EntryType : unsigned char { File, Folder, Link, Pipe, Other };

struct EntryStatus
{
    EntryType type = EntryType::Other;
    FileId id;
    qint64 size = 0; // of a file, in bytes
    qint64 allocated = 0; // of these, those that take room: a hole takes none
    bool hasOtherNames = false; // hard links
    std::array<qint64, 2> changed = {}; // tell whether somebody wrote to it meanwhile
};

/**
 * \brief A folder that is open, so that what is done in it is done there, wherever it is moved.
 *
 * All operations take names of entries in it and follow no link. On Linux the folder itself may be
 * moved; on Windows nobody can while it is open. They answer an error code of the system, or
 * systemError::none.
 *
 * \par Threads
 * As safe as an int: one at a time.
 */
class OpenFolder
{
public:
    using Visitor = std::function<bool(SystemNameView name, EntryType type)>;

    OpenFolder();
    OpenFolder(OpenFolder&& other) noexcept;
    OpenFolder& operator=(OpenFolder&& other) noexcept;
    ~OpenFolder();

    /** The folder at \a path, which is absolute; links in it are followed. */
    int open(const QString& path);
    /** The folder \a name in \a parent. */
    int enter(const OpenFolder& parent, const SystemName& name);

    /**
     * Gives back what an open folder takes up, if it is scarce, until reopen(). Until then only id()
     * may be asked.
     */
    void rest();
    /** Opens it again from \a child; systemError::changed when that is somewhere else now. */
    int reopen(const OpenFolder& child);

    const FileId& id() const { return m_id; }
    /** Its own and those of all the folders it is in. */
    std::vector<FileId> idsUpwards() const;

    /** Has \a visit see all entries, in no order, until it answers false. */
    int list(const Visitor& visit) const;
    int status(const SystemName& name, EntryStatus& status) const;
    /** Whether a link leads to a file, and not to a folder or nowhere. */
    bool leadsToFile(const SystemName& link) const;

    int makeFolder(const SystemName& name);
    int removeFolder(const SystemName& name);
    /** Whatever it is but a folder. */
    int removeFile(const SystemName& name);
    /** \a replacing: what is no folder gives way. Otherwise nothing is ever replaced. */
    int rename(const SystemName& name, OpenFolder& target, const SystemName& newName,
               bool replacing);
    /** One more name for a file. */
    int link(const SystemName& name, OpenFolder& target, const SystemName& newName) const;

    /** Names that were made or removed survive a power failure. */
    int sync();
    /** The bytes that copies of \a name in \a source can take; the most there is where nobody knows. */
    qint64 roomForCopies(const OpenFolder& source, const SystemName& name) const;

    struct Handle;
    const Handle& handle() const { return *m_handle; }

private:
    std::unique_ptr<Handle> m_handle;
    FileId m_id;
};

} // namespace kel
#endif
