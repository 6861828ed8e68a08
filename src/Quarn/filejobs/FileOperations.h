#ifndef QUARN_FILEJOBS_FILEOPERATIONS_H
#define QUARN_FILEJOBS_FILEOPERATIONS_H

#include <Quarn/filejobs/FileProgress.h>
#include <Quarn/filejobs/FileResult.h>
#include <Quarn/filejobs/FindOptions.h>
#include <Quarn/filejobs/TransferOptions.h>
#include <Quarn/quarn_export.h>

#include <QStringList>

namespace kel {

/**
 * \brief Copies, moves, removes, counts and finds files and whole trees, with progress and cancel.
 *
 * These are the jobs for who has a thread of his own: CopyJob and the others do the same on a thread
 * pool. Nothing throws, but what a callback throws goes through to the caller.
 *
 * \par Results
 * A failure at one entry is noted, and the work goes on with the others; only a full disk and a cancel
 * end it. FileResult::ok() tells whether all was done, FileResult::failures what was not, and why.
 *
 * \par Links
 * A link is copied, moved, removed and counted as the link it is, and never followed, not even one
 * that somebody puts in the place of a folder meanwhile. Those on the way to what is given are
 * followed. "." and ".." in it are resolved as text.
 *
 * \par Trees
 * may be of any depth; no more than 32 descriptors are in use. What others change meanwhile is
 * treated as it is found.
 *
 * \par Threads
 * Any operation may run on any thread, and any number at once. It blocks until all is done; the
 * callbacks are called in the same thread.
 */
class QUARN_EXPORT FileOperations
{
public:
    /**
     * Copies \a sources, files and folders, into \a folder, which exists.
     *
     * Kept are contents, holes in them, times, permissions, the owner where the user is root,
     * extended attributes, the comment, links and hard links among what is copied. What the target's
     * file system or the user's rights have no place for is left out. A pipe becomes a new pipe; a
     * socket or device is a failure. File systems that can do that share the blocks of both files, so
     * that the size doesn't matter.
     *
     * A file is there under its name only when it is whole; until then, and when the process dies, it
     * is called ".quarn-" and some digits. A folder is there from the beginning and gets its
     * attributes at the end. Copied is as much of a file as it held when it was opened.
     *
     * | In the target folder, of the same name | becomes of it by default   | see               |
     * |----------------------------------------|----------------------------|-------------------|
     * | a folder, and a folder is copied       | a failure; it stays        | ConflictPolicy    |
     * | a file, link or pipe                   | a failure; it stays        | ConflictPolicy    |
     * | a folder where a file is copied        | a failure in any case but of Skip and UniqueName ||
     * | a file where a folder is copied        | the same                                        ||
     * | itself                                 | the same                                        ||
     *
     * A folder is not copied into itself. What has no room on the target is a failure before anything
     * of it is written. After a cancel or a full disk, what was copied stays.
     */
    [[nodiscard]] static FileResult copy(const QStringList& sources, const QString& folder,
                                         const TransferOptions& options = {},
                                         const Progress& progress = {});

    /**
     * Moves \a sources into \a folder, which exists, with the options of copy().
     *
     * Within a file system this is a rename, which takes no time. To another one, files are copied as
     * copy() does it, and each is removed from its old place when the copy, and its name, would
     * survive a power failure. A file that is changed meanwhile stays where it is, as does a folder
     * in which anything is left. So a move that fails or is cancelled leaves each file at one of the
     * places or at both.
     *
     * A rename takes the comment along if it is an attribute or stream, and so does the copy.
     */
    [[nodiscard]] static FileResult move(const QStringList& sources, const QString& folder,
                                         const TransferOptions& options = {},
                                         const Progress& progress = {});

    /**
     * Removes files and folders with everything in them for good; of a link the link itself. **What
     * is gone does not come back**, after a failure or a cancel either: use trash() for what a user
     * may want again. A root is refused. What somebody else removes first counts as gone. With
     * \a progress the entries are counted first.
     */
    [[nodiscard]] static FileResult remove(const QStringList& paths, const Progress& progress = {});

    /**
     * Moves files, folders and links to the user's trash as FileUtils::moveToTrash() does;
     * FileResult::places tells where each is now, as far as the system does.
     */
    [[nodiscard]] static FileResult trash(const QStringList& paths, const Progress& progress = {});

    /**
     * Counts files, folders and links, those given too, in FileResult::entries, and adds up the sizes
     * of the files in FileResult::bytes; that of a file with several names once.
     */
    [[nodiscard]] static FileResult measure(const QStringList& paths,
                                            const Progress& progress = {});

    /**
     * Calls \a found with the path of each file in \a folder that \a options ask for, in no order.
     * Links to files are files, those to folders are not followed.
     */
    [[nodiscard]] static FileResult find(const QString& folder, const FindOptions& options,
                                         const std::function<void(const QString& path)>& found,
                                         const Progress& progress = {});
};

} // namespace kel
#endif
