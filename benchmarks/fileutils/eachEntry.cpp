#include "fileutils/eachEntry.h"

#include <sys/stat.h>

#include <string_view>

namespace bench {
namespace {

constexpr std::string_view ending = ".jpg";

} // namespace

void collect(int parent, const std::string& name, const std::string& path,
             std::vector<std::string>& found)
{
    eachEntry(parent, name, [&](int folder, const dirent& entry) {
        const std::string_view file = entry.d_name;
        if (entry.d_type == DT_DIR)
            collect(folder, entry.d_name, path + '/' + entry.d_name, found);
        else if (file.size() > ending.size() && file.substr(file.size() - ending.size()) == ending)
            found.push_back(path + '/' + entry.d_name);
    });
}

long long sizeOf(int parent, const std::string& name)
{
    long long size = 0;
    eachEntry(parent, name, [&](int folder, const dirent& entry) {
        struct stat status;
        if (entry.d_type == DT_DIR)
            size += sizeOf(folder, entry.d_name);
        else if (::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
            size += status.st_size;
    });
    return size;
}

} // namespace bench
