#ifndef QUARN_COMPANION_KELMNONCOPYABLE_H
#define QUARN_COMPANION_KELMNONCOPYABLE_H

#include <Quarn/companion/kelmObject.h>

/**
 * Base of classes that must not be copied.
 *
 * \par Threads
 * Holds nothing: those of the derived class.
 */
class QUARN_EXPORT kelmNonCopyable : public kelmObject
{
public:
    kelmNonCopyable() = default;
    kelmNonCopyable(const kelmNonCopyable&) = delete;
    kelmNonCopyable& operator=(const kelmNonCopyable&) = delete;
    ~kelmNonCopyable() override;
};

#endif
