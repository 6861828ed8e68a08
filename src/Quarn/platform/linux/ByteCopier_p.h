#ifndef QUARN_PLATFORM_LINUX_BYTECOPIER_P_H
#define QUARN_PLATFORM_LINUX_BYTECOPIER_P_H

#include <Quarn/platform/EntryCopier_p.h>

#include <sys/stat.h>

#include <vector>

namespace kel {

/** Copies the contents of one open file to another, which is empty, in the fastest way there is. */
class ByteCopier
{
public:
    using Outcome = EntryCopier::Outcome;
    using Transferred = EntryCopier::Transferred;

    explicit ByteCopier(bool synced) : m_synced(synced) { }

    /** As much as the \a status says is in \a source; all of what doesn't know its size. */
    Outcome copy(int source, const struct stat& status, int target, const Transferred& transferred);

private:
    bool clone(int source, const struct stat& status, int target);
    Outcome cloned(qint64 size);
    Outcome copySparse(qint64 size);
    Outcome copyRange(qint64 from, qint64 to);
    Outcome copyByKernel(qint64& at, qint64 to);
    Outcome copyByBuffer(qint64& at, qint64 to);
    Outcome written(qint64 from, qint64 count);

    const bool m_synced;
    bool m_clones = true; // until it fails between the two devices
    dev_t m_from = 0;
    dev_t m_to = 0;
    std::vector<char> m_buffer;

    // of the files at hand
    int m_source = -1;
    int m_target = -1;
    qint64 m_flushing = 0; // how far the target is on its way to the disk
    const Transferred* m_transferred = nullptr;
};

} // namespace kel
#endif
