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

    /**
     * Brings what was written to the disk. Fails also when an earlier write did, or when the file
     * doesn't hold exactly \a size bytes.
     */
    void finish(qint64 size);

    /** Closes the file and puts it in the target's place. */
    void replaceTarget();

    /** Whether a write failed; unlike ioFailureDetected() it is never forgotten. */
    bool failed() const;

    void setThroughputStats(quint64, quint64, quint64, quint64) override { }

protected:
    qint64 writeData(const char* data, qint64 size) override;

private:
    [[noreturn]] void fail(const QString& reason) const;
    void takeAttributes();

    const QString m_name; // of the target, as the user gave it
    int m_unresolved = 0; // why the links that the name leads through could not be followed
    const QString m_target; // without links
    bool m_pending = false; // there is a file to be removed
    qint64 m_written = 0;
    QString m_writeFailure; // the first one
};

#endif
