#include <Quarn/filejobs/LinkedCopies_p.h>

#include <Quarn/platform/SystemError_p.h>

#include <utility>

namespace kel {
namespace {

bool is(const OpenFolder& folder, const SystemName& name, const FileId& id)
{
    EntryStatus status;
    return folder.status(name, status) == systemError::none && status.id == id;
}

} // namespace

void LinkedCopies::add(const FileId& source, const OpenFolder& folder, Place place)
{
    EntryStatus status;
    if (folder.status(place.back(), status) == systemError::none)
        m_copies[source] = {std::move(place), status.id};
}

bool LinkedCopies::link(const FileId& source, const OpenFolder& root, OpenFolder& folder,
                        const SystemName& name) const
{
    const auto found = m_copies.find(source);
    if (found == m_copies.end())
        return false;
    const Copy& copy = found->second;
    OpenFolder reached;
    const OpenFolder* current = &root;
    for (std::size_t i = 0; i + 1 < copy.place.size(); ++i) {
        OpenFolder next;
        if (next.enter(*current, copy.place[i]) != systemError::none)
            return false;
        reached = std::move(next);
        current = &reached;
    }
    // Somebody may have put something else there.
    const OpenFolder& place = *current;
    if (!is(place, copy.place.back(), copy.id)
        || place.link(copy.place.back(), folder, name) != systemError::none)
        return false;
    if (is(folder, name, copy.id))
        return true;
    folder.removeFile(name);
    return false;
}

} // namespace kel
