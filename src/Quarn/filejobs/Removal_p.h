#ifndef QUARN_FILEJOBS_REMOVAL_P_H
#define QUARN_FILEJOBS_REMOVAL_P_H

#include <Quarn/filejobs/TreeWalk_p.h>

namespace kel {

/** Removes whole trees, links and all, but nothing that links lead to. */
class Removal : public TreeWalk
{
public:
    explicit Removal(WorkLog& log) : TreeWalk(log, false) { }

protected:
    bool takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type) override;
    bool take(OpenFolder& folder, const SystemName& name) override;
    bool takeClosed(OpenFolder& parent, const SystemName& name, FileStep step, int error) override;
    bool leave(OpenFolder& parent, const SystemName& name) override;

private:
    bool noted(const SystemName& name, int error);
};

} // namespace kel
#endif
