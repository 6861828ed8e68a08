#ifndef QUARN_BENCHMARKS_FILEUTILS_EACHENTRY_H
#define QUARN_BENCHMARKS_FILEUTILS_EACHENTRY_H

#include "support/contest.h"

#include <dirent.h>
#include <fcntl.h>

#include <cstring>
#include <string>
#include <vector>

namespace bench {

/** Calls \a visit with the open folder, its path and each entry of it but "." and "..". */
template <typename Visit>
void eachEntry(int parent, const std::string& name, Visit visit)
{
    const int descriptor
        = ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR* const folder = ::fdopendir(descriptor);
    insist(folder != nullptr, "a folder could not be listed");
    while (const dirent* entry = ::readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            visit(descriptor, *entry);
    }
    ::closedir(folder);
}

/** The pictures below a folder, as found by readdir() alone. */
void collect(int parent, const std::string& name, const std::string& path,
             std::vector<std::string>& found);

/** The sizes of the files below a folder, by readdir() and fstatat(). */
long long sizeOf(int parent, const std::string& name);

} // namespace bench
#endif
