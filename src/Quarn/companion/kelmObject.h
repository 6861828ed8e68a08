#ifndef QUARN_COMPANION_KELMOBJECT_H
#define QUARN_COMPANION_KELMOBJECT_H

#include <Quarn/quarn_export.h>

/**
 * Root of the block I/O classes; gives them their virtual destructor.
 *
 * \par Threads
 * Holds nothing: those of the derived class.
 */
class QUARN_EXPORT kelmObject
{
public:
    kelmObject() = default;
    kelmObject(const kelmObject&) = default;
    kelmObject& operator=(const kelmObject&) = default;
    virtual ~kelmObject();
};

#endif
