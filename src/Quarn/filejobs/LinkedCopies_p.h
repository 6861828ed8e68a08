#ifndef QUARN_FILEJOBS_LINKEDCOPIES_P_H
#define QUARN_FILEJOBS_LINKEDCOPIES_P_H

#include <Quarn/platform/OpenFolder_p.h>

#include <map>
#include <vector>

namespace kel {

/** The copies of files that have several names: the next name gets a link to the first copy. */
class LinkedCopies
{
public:
    /** Names from the folder where all copies go, down to one. */
    using Place = std::vector<SystemName>;

    /** The copy of \a source is \a name, the last one of \a place. */
    void add(const FileId& source, const OpenFolder& folder, Place place);

    /** Gives the copy of \a source another name; false when there is none to be found any more. */
    bool link(const FileId& source, const OpenFolder& root, OpenFolder& folder,
              const SystemName& name) const;

private:
    struct Copy
    {
        Place place;
        FileId id;
    };

    std::map<FileId, Copy> m_copies; // by their source
};

} // namespace kel
#endif
