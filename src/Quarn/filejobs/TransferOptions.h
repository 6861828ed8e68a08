#ifndef QUARN_FILEJOBS_TRANSFEROPTIONS_H
#define QUARN_FILEJOBS_TRANSFEROPTIONS_H

#include <Quarn/filejobs/FileConflict.h>

#include <QString>

#include <functional>

namespace kel {

/**
 * \brief How to copy or move.
 *
 * \par Threads
 * A value, as safe as what \a ask refers to.
 */
struct TransferOptions
{
    /** What to do about what is there already, unless \a ask tells. */
    ConflictPolicy conflict = ConflictPolicy::Fail;

    /**
     * When set, is asked about each conflict, and its answer holds for that one alone. It is called
     * in the thread that does the work, which waits for it: of a job that is a thread of its pool,
     * so hand the question over to the thread of the windows, and wait there for the answer. It must
     * not wait for a thread that waits for the job.
     */
    std::function<ConflictPolicy(const FileConflict&)> ask;

    /**
     * The name to give where there is only one source; empty: that which it has. Several keep theirs.
     * What is no single name, as "../x" or "a/b", is a failure.
     */
    QString newName;
};

} // namespace kel
#endif
