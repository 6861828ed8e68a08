#ifndef QUARN_FILEJOBS_TRANSFER_P_H
#define QUARN_FILEJOBS_TRANSFER_P_H

#include <Quarn/filejobs/FolderStack_p.h>
#include <Quarn/filejobs/LinkedCopies_p.h>
#include <Quarn/filejobs/Survey_p.h>
#include <Quarn/filejobs/TransferOptions.h>
#include <Quarn/filejobs/WorkLog_p.h>

#include <QHash>
#include <QStringList>

#include <optional>
#include <unordered_set>
#include <vector>

namespace kel {

/**
 * \brief Copies or moves trees into a folder.
 *
 * Every step is taken from open folders to names in them. Files are made under a temporary name and
 * renamed when they are whole. A move renames where it can; otherwise what was copied is removed once
 * the copies of some files, or of the folder, are safe on the disk.
 */
class Transfer
{
public:
    enum Kind { Copy, Move };

    Transfer(Kind kind, const TransferOptions& options, WorkLog& log);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    void run(const QStringList& sources, const QString& folder);

private:
    /** An entry of the source folder that is being gone through. */
    struct Entry
    {
        SystemName name;
        SystemName wantedName; // in the target folder
        EntryStatus status;
    };

    /** What becomes of an entry. */
    struct Destination
    {
        enum How { New, Replacing, Merging };
        SystemName name;
        How how = New;
    };

    /** A folder that is being gone through, with that where its entries go. */
    struct Level
    {
        SystemName sourceName;
        SystemName targetName;
        EntryStatus status; // of the source, before anything was done to it
        std::vector<SystemName> entries;
        std::size_t next = 0;
        bool isNew = false; // the target was made here
        bool triesToRename = false;
        bool whole = true; // so far, everything in it was moved
        bool hasCommentLeft = false; // which the new folder could not take as an attribute
        std::vector<Entry> copied; // files that are still to be removed, in a move
        int sourcePathSize = 0; // of the folders above
        int targetPathSize = 0;
    };

    bool takeNewName();
    void survey(const QString& source);
    void transferSource(const QString& source, qint64 size);
    void runLevels();

    void transferEntry(const SystemName& name);
    bool rename(const Entry& entry, Destination& destination);
    bool hasRoom(const Entry& entry, const Destination& destination);
    void transferFile(const Entry& entry, Destination destination);
    bool makeFile(const Entry& entry, const SystemName& temporary, const SystemName& name);
    bool publish(const Entry& entry, const SystemName& temporary, Destination& destination);
    bool takesComment(const Entry& entry) const;
    bool keepComment(const Entry& entry, const Destination& destination);
    bool settleComment(const SystemName& name, const EntryCopier::Outcome& outcome);
    void transferFolder(const Entry& entry, Destination destination);
    bool makeFolder(const Entry& entry, Destination& destination);
    void leaveFolder();
    void finishFolder(Level& left);
    void settleFolder(const Level& left);
    void removeCopied(Level& level);
    int removeMoved(const Entry& entry, bool withComment);
    void abandonSource();

    std::optional<Destination> destinationOf(const Entry& entry);
    std::optional<Destination> resolve(const Entry& entry);
    std::optional<Destination> overwriting(const Entry& entry, const EntryStatus& there);
    std::optional<Destination> uniqueName(const Entry& entry);
    ConflictPolicy policyFor(const Entry& entry, const EntryStatus& there);

    Level& level() { return m_levels.back(); }
    bool isTop() const { return m_levels.size() == 1; }
    LinkedCopies::Place placeOf(const SystemName& name) const;
    SystemName nextTemporaryName();
    QString sourcePath(const SystemName& name) const;
    QString targetPath(const SystemName& name) const;
    void failSource(const SystemName& name, FileStep step, int error);
    void failTarget(const SystemName& name, FileStep step, int error);
    void finished(const Entry& entry, const Destination& destination);

    const Kind m_kind;
    const TransferOptions m_options;
    WorkLog& m_log;
    EntryCopier m_copier;
    LinkedCopies m_linked;
    Survey m_survey;
    const QString m_temporaryName;
    int m_temporaryNames = 0;
    int m_conflicts = 0; // of the entry under way, so far

    FolderStack m_sources;
    FolderStack m_targets;
    std::vector<Level> m_levels; // the first has the one entry that was given
    SystemName m_newName; // of the one source; empty: that which it has
    // Not of Qt, whose sets end the program when there is no memory.
    std::unordered_set<QString> m_allGiven; // clean paths
    std::vector<FileId> m_aboveTarget; // the target folder and those it is in
    QString m_given; // of the first level
    qint64 m_size = -1; // what it takes up; negative: not counted yet
    QString m_sourcePath;
    QString m_targetPath;
};

} // namespace kel
#endif
