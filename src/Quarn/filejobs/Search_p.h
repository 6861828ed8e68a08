#ifndef QUARN_FILEJOBS_SEARCH_P_H
#define QUARN_FILEJOBS_SEARCH_P_H

#include <Quarn/companion/NameFilters_p.h>
#include <Quarn/filejobs/FindOptions.h>
#include <Quarn/filejobs/TreeWalk_p.h>

#include <functional>

namespace kel {

/** Finds the files of a tree whose names fit. */
class Search : public TreeWalk
{
public:
    using Found = std::function<void(const QString& path)>;

    Search(WorkLog& log, const FindOptions& options, const Found& found);

protected:
    bool takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type) override;

private:
    const NameFilters m_filters;
    const bool m_recursive;
    const bool m_hidden;
    const Found& m_found;
};

} // namespace kel
#endif
