#ifndef QUARN_MULTIUSER_MULTIUSERSPOOLVIEW_H
#define QUARN_MULTIUSER_MULTIUSERSPOOLVIEW_H

#include <Quarn/quarn_export.h>

#include <QtGlobal>

#include <memory>

namespace kel {

/**
 * \brief Bytes of a MultiUserSpool, looked at in place.
 *
 * data() stays valid and unchanged as long as this view or a copy of it lives, whatever becomes of
 * the bytes in the spool, and also when the spool and all its readers are gone. A view of bytes in
 * memory keeps their whole chunk there, beyond the memory limit if need be: take one, look, let go.
 * One of bytes that were spilled holds a copy read back from the disk.
 *
 * \par Threads
 * A view may be passed to, copied and destroyed in any thread; one object belongs to one at a time.
 */
class QUARN_EXPORT MultiUserSpoolView
{
public:
    /** An empty view. */
    MultiUserSpoolView() = default;
    /** \a size bytes at \a bytes; for the spool's readers. */
    MultiUserSpoolView(std::shared_ptr<const char> bytes, qint64 size);

    /** Whether there is no byte. */
    bool isEmpty() const;
    /** In bytes. */
    qint64 size() const;
    /** The first of size() bytes; null for an empty view. There is no terminating zero byte. */
    const char* data() const;

private:
    std::shared_ptr<const char> m_bytes;
    qint64 m_size = 0;
};

} // namespace kel
#endif
