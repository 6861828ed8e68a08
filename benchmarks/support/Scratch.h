#ifndef QUARN_BENCHMARKS_SUPPORT_SCRATCH_H
#define QUARN_BENCHMARKS_SUPPORT_SCRATCH_H

#include <QString>

namespace bench {

/**
 * A folder for the benchmarks' files in that for temporary ones, which is to be on a memory file
 * system so that no disk decides. One at a time; it goes with its contents when the object does.
 */
class Scratch
{
public:
    Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch();

    /** The path of \a name in the folder. */
    static QString path(const QString& name);

    /** The path of a file of \a size bytes in the folder, made by the first call. */
    static QString file(qint64 size);

    /**
     * The path of a folder with \a count entries of a few bytes, made by the first call. Entry
     * number 0 to count - 1 is named by \a name.
     */
    static QString folder(const QString& folder, int count, QString (*name)(int number));
};

} // namespace bench
#endif
