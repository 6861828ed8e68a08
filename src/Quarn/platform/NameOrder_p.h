#ifndef QUARN_PLATFORM_NAMEORDER_P_H
#define QUARN_PLATFORM_NAMEORDER_P_H

#include <QString>

#include <algorithm>
#include <utility>
#include <vector>

namespace kel {

/**
 * Brings \a entries into QDir's own order: by name, letter case ignored, equal ones as they came.
 * \a nameOf answers the name of an entry. Of each the small letters are taken once only.
 */
template <typename Entries, typename NameOf>
void sortByName(Entries& entries, NameOf nameOf)
{
    std::vector<std::pair<QString, typename Entries::value_type>> keyed;
    keyed.reserve(std::size_t(entries.size()));
    for (auto& entry : entries) {
        QString key = nameOf(entry).toLower();
        keyed.emplace_back(std::move(key), std::move(entry));
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::transform(keyed.begin(), keyed.end(), entries.begin(),
                   [](auto& pair) { return std::move(pair.second); });
}

} // namespace kel
#endif
