#ifndef QUARN_COMPANION_KELMBUFFER_H
#define QUARN_COMPANION_KELMBUFFER_H

#include <Quarn/companion/kelmObject.h>

#include <QByteArray>

/**
 * \brief A resizable block of contiguous bytes.
 *
 * Buffers travel in boost::shared_ptr and are not copied: the address from firstByte() then has
 * one owner.
 *
 * \par Threads
 * A buffer belongs to one thread at a time.
 */
class QUARN_EXPORT kelmBuffer : public kelmObject
{
public:
    /**
     * A buffer of \a size bytes with unspecified values. Its storage grows in multiples of
     * \a granularity bytes; 1 leaves the amount to the buffer. Throws std::bad_alloc.
     */
    explicit kelmBuffer(int size = 0, int granularity = 1);
    kelmBuffer(const kelmBuffer&) = delete;
    kelmBuffer& operator=(const kelmBuffer&) = delete;
    ~kelmBuffer() override;

    /** Number of bytes that the buffer holds now. */
    int size() const;

    /**
     * Makes the buffer hold \a size bytes; a negative size counts as 0. Bytes up to the smaller
     * of the old and the new size are kept, further ones have unspecified values. Growing again
     * and again takes linear time in all. Throws std::bad_alloc and then changes nothing.
     */
    void setSize(int size);

    /** Address of the first of size() writable bytes, never null, valid until setSize(). */
    unsigned char* firstByte();

private:
    QByteArray m_bytes;
    int m_granularity;
};

#endif
