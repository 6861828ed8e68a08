#ifndef RELAY_PROGRESS_H
#define RELAY_PROGRESS_H

#include <QElapsedTimer>
#include <QString>

#include <deque>

/**
 * \brief Shows on standard error how far the relay is: on a terminal one line with a bar, drawn
 * again and again, elsewhere a plain line now and then.
 */
class Progress
{
public:
    Progress();

    /** How often show() is to be called. */
    int intervalMsecs() const;

    /**
     * \a spilled of the bytes are on the disk; \a total is -1 when unknown. False when nobody can
     * read it any more.
     */
    bool show(qint64 done, qint64 total, qint64 spilled);

    /** Makes room for other text. */
    void clear();

private:
    struct Sample
    {
        qint64 msecs;
        qint64 bytes;
    };

    void addSample(qint64 done);
    double bytesPerSecond() const;

    const bool m_terminal;
    bool m_drawn;
    QElapsedTimer m_clock;
    std::deque<Sample> m_samples; // of the last seconds
};

#endif
