#ifndef RELAY_ATOMICFILE_H
#define RELAY_ATOMICFILE_H

#include <Quarn/streams/kelmQFile.h>

/**
 * \brief A file that is written beside its target and takes the target's place at once, or never.
 *
 * The calls throw kel::IOException with a message for the user. Whatever happens, the target is
 * as it was until replaceTarget() has succeeded, and nothing else is left when the object ends.
 * A link is followed; an existing file keeps its permissions, and its owner as far as allowed.
 */
class AtomicFile : public kel::kelmQFile
{
public:
    explicit AtomicFile(const QString& target);
    ~AtomicFile() override;

    /** Opens the new file for writing. */
    void create();

    /** Brings what was written to the disk. Fails also when an earlier write did. */
    void finish();

    /** Closes the file and puts it in the target's place. */
    void replaceTarget();

    void setThroughputStats(quint64, quint64, quint64, quint64) override { }

private:
    [[noreturn]] void fail(const QString& reason) const;
    void takeAttributes();

    QString m_target; // without links
    const QString m_name; // of the target, as the user gave it
    bool m_pending; // there is a file to be removed
};

#endif
