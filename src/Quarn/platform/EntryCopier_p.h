#ifndef QUARN_PLATFORM_ENTRYCOPIER_P_H
#define QUARN_PLATFORM_ENTRYCOPIER_P_H

#include <Quarn/platform/OpenFolder_p.h>
#include <Quarn/platform/SystemError_p.h>

#include <functional>
#include <memory>
#include <vector>

namespace kel {

/** What was being done when something failed. */
enum class FileStep { Look, List, Open, Read, Create, Write, Attributes, Rename, Remove };

/**
 * \brief Copies files, links and pipes with all that the target's file system can keep of them.
 *
 * Kept are contents, holes, times, permissions, extended attributes and, where the user may give it
 * away, the owner. Linux shares the blocks of both files where the file system can, else has the
 * kernel copy; Windows copies streams and attributes, and permissions are those of the target folder.
 *
 * \par Threads
 * One thread at a time.
 */
class EntryCopier
{
public:
    struct Outcome
    {
        int error = systemError::none;
        FileStep step = FileStep::Look;
        bool cancelled = false;

        bool ok() const { return error == systemError::none && !cancelled; }
    };

    /** Is told of each piece of a file, a few MiB at most, and answers whether to go on. */
    using Transferred = std::function<bool(qint64 bytes)>;

    /**
     * \a synced: copies of files survive a power failure as soon as they are made, and a source that
     * changes meanwhile is a failure.
     */
    explicit EntryCopier(bool synced);
    EntryCopier(const EntryCopier&) = delete;
    EntryCopier& operator=(const EntryCopier&) = delete;
    ~EntryCopier();

    /**
     * Makes \a newName a copy of \a name, whose \a status is known. Nothing may be called so before,
     * and nothing is afterwards unless it is whole.
     */
    Outcome copy(const OpenFolder& source, const SystemName& name, const EntryStatus& status,
                 OpenFolder& target, const SystemName& newName, const Transferred& transferred);

    /** Gives one folder what the other has but its contents; had, as for the \a status. */
    Outcome copyAttributes(const OpenFolder& source, const OpenFolder& target,
                           const EntryStatus& status);

    /** Another name of the file \a id, which was copied before, counts as copied last. */
    void setCopiedLast(const FileId& id);

    /** Whether the entry copied last has a comment that the copy could not take along. */
    bool hasCommentLeft() const;

    /**
     * Stores this comment with \a newName, or that in the file beside \a name, where comments are
     * kept so; takes away that beside \a newName when there is none. \a suffix is the comments'.
     */
    Outcome copyComment(const OpenFolder& source, const SystemName& name, OpenFolder& target,
                        const SystemName& newName, const QString& suffix);

    /** Takes the comment along that is beside a file which was called \a name and is \a newName now. */
    static Outcome moveComment(const OpenFolder& source, const SystemName& name, OpenFolder& target,
                               const SystemName& newName, const QString& suffix);
    /** Removes the comment that is beside the file \a name. */
    static Outcome removeComment(OpenFolder& folder, const SystemName& name, const QString& suffix);
    /** What the file beside \a name may be called that keeps its comment. */
    static std::vector<SystemName> commentFiles(const SystemName& name, const QString& suffix);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace kel
#endif
