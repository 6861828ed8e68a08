#ifndef QUARN_FILEJOBS_SURVEY_P_H
#define QUARN_FILEJOBS_SURVEY_P_H

#include <Quarn/filejobs/TreeWalk_p.h>

#include <set>

namespace kel {

/** Counts what is in trees. A file with several names counts all of these, but its size once. */
class Survey : public TreeWalk
{
public:
    enum Purpose {
        Result, // what it counts is what was done
        Sizes, // of what is to be done
        Entries // without their sizes, which take the most time
    };

    Survey(WorkLog& log, Purpose purpose) : TreeWalk(log, purpose != Result), m_purpose(purpose) { }

    qint64 entries() const { return m_entries; }
    qint64 bytes() const { return m_bytes; }
    /** Of these, those that are no hole. */
    qint64 allocated() const { return m_allocated; }

protected:
    bool takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type) override;

private:
    qint64 sizeOf(const OpenFolder& folder, SystemNameView name);

    const Purpose m_purpose;
    std::set<FileId> m_linked; // files with several names that have been met
    SystemName m_name; // its memory is used again
    qint64 m_entries = 0;
    qint64 m_bytes = 0;
    qint64 m_allocated = 0;
};

} // namespace kel
#endif
