#include <Quarn/filejobs/Survey_p.h>

namespace kel {

bool Survey::takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type)
{
    const bool hasSize = type == EntryType::File && m_purpose != Entries;
    const qint64 size = hasSize ? sizeOf(folder, name) : 0;
    if (size < 0)
        return true;
    ++m_entries;
    m_bytes += size;
    const bool counts = m_purpose == Result;
    if (counts)
        log().addDone(1, size);
    log().advance(counts ? 1 : 0, counts ? size : 0, [&] { return pathOf(name); });
    return type != EntryType::Folder;
}

/** Negative where it could not be found out. */
qint64 Survey::sizeOf(const OpenFolder& folder, SystemNameView name)
{
    EntryStatus status;
    m_name.assign(name);
    const int error = folder.status(m_name, status);
    if (error != systemError::none) {
        if (error != systemError::notThere) // gone meanwhile
            fail(name, FileStep::Look, error);
        return -1;
    }
    if (status.hasOtherNames && !m_linked.insert(status.id).second)
        return 0;
    m_allocated += status.allocated;
    return status.size;
}

} // namespace kel
