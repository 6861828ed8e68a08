#ifndef QUARN_BENCHMARKS_FILEUTILS_TREE_H
#define QUARN_BENCHMARKS_FILEUTILS_TREE_H

#include <string>

namespace bench {

/**
 * A tree of files on the scratch file system: 100 to a folder, half of them pictures, in folders of
 * two levels.
 */
class Tree
{
public:
    static constexpr int fileSize = 7; // bytes

    /** The path of a tree of \a files files, a multiple of 100; made by the first call. */
    static const std::string& of(int files);

    /** Makes such a tree at \a path, where there is nothing. */
    static void make(const std::string& path, int files);
};

} // namespace bench
#endif
