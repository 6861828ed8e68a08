#include <Quarn/filejobs/Removal_p.h>

namespace kel {

/** Not while the system still lists: some would leave out entries then. */
bool Removal::takesAtOnce(const OpenFolder&, SystemNameView, EntryType)
{
    return false;
}

bool Removal::take(OpenFolder& folder, const SystemName& name)
{
    return noted(name, folder.removeFile(name));
}

/** One that may not be opened or listed can still be removed when it is empty. */
bool Removal::takeClosed(OpenFolder& parent, const SystemName& name, FileStep step, int error)
{
    if (error == systemError::notThere || parent.removeFolder(name) == systemError::none)
        return noted(name, systemError::none);
    return fail(name, step, error);
}

bool Removal::leave(OpenFolder& parent, const SystemName& name)
{
    return noted(name, parent.removeFolder(name));
}

/** What somebody else was first to remove is gone, too. */
bool Removal::noted(const SystemName& name, int error)
{
    const bool removed = error == systemError::none;
    const bool gone = removed || error == systemError::notThere;
    if (removed)
        log().addDone(1, 0);
    if (!gone)
        fail(name, FileStep::Remove, error);
    log().advance(1, 0, [&] { return pathOf(name); });
    return gone;
}

} // namespace kel
