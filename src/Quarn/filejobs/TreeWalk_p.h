#ifndef QUARN_FILEJOBS_TREEWALK_P_H
#define QUARN_FILEJOBS_TREEWALK_P_H

#include <Quarn/filejobs/FolderStack_p.h>
#include <Quarn/filejobs/WorkLog_p.h>

#include <utility>
#include <vector>

namespace kel {

/**
 * \brief Goes through a tree, from open folders to names in them, so that nothing leads it astray.
 *
 * It keeps its own stack, as a tree may be deeper than that of the thread. What fails is left out.
 */
class TreeWalk
{
public:
    virtual ~TreeWalk() = default;
    TreeWalk(const TreeWalk&) = delete;
    TreeWalk& operator=(const TreeWalk&) = delete;

    /** Through what is at \a path, which may be a file. */
    void walkEntry(const QString& path);
    /** Through what is in the folder at \a path, also when that is a link to one. */
    void walkFolder(const QString& path);

protected:
    /** A silent one tells no failures: the same come once more when the real work is done. */
    explicit TreeWalk(WorkLog& log, bool silent) : m_log(log), m_silent(silent) { }

    /** While a folder is listed. Answers whether the entry is done with. */
    virtual bool takesAtOnce(const OpenFolder& folder, SystemNameView name, EntryType type) = 0;
    /** What was not, and is no folder. Answers whether it went well. */
    virtual bool take(OpenFolder& folder, const SystemName& name);
    /** A folder that could not be opened or listed, and may have \a error. */
    virtual bool takeClosed(OpenFolder& parent, const SystemName& name, FileStep step, int error);
    /** A folder in which everything went well. Answers whether that did, too. */
    virtual bool leave(OpenFolder& parent, const SystemName& name);

    WorkLog& log() { return m_log; }
    bool isSilent() const { return m_silent; }
    /** Of the folder that is being gone through. */
    const QString& folderPath() const { return m_path; }
    /** Of an entry of the folder that is being gone through. */
    QString pathOf(SystemNameView name) const;
    /** False, and told if it is to be. */
    bool fail(SystemNameView name, FileStep step, int error);

private:
    struct Level
    {
        SystemName name;
        std::vector<std::pair<SystemName, EntryType>> entries;
        std::size_t next = 0;
        bool whole = true; // so far, everything in it went well
        int parentPathSize = 0;
    };

    void run();
    void step(Level& level);
    void enter(const SystemName& name);
    void leaveUnlisted(int error);
    int list(Level& level);
    void leaveLevel();

    WorkLog& m_log;
    const bool m_silent;
    FolderStack m_folders;
    std::vector<Level> m_levels;
    QString m_path; // of the last folder
};

} // namespace kel
#endif
