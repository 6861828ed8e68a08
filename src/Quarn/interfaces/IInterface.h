#ifndef QUARN_INTERFACES_IINTERFACE_H
#define QUARN_INTERFACES_IINTERFACE_H

#include <Quarn/quarn_export.h>

namespace kel {

/**
 * \brief The root of the interface family: answers an identifier with an interface pointer.
 *
 * Every interface derives from this class virtually, so an object has exactly one IInterface,
 * whichever interface pointer the question is asked through:
 *
 *     if (void* found = stream->getInterface(kel::IInterface::ID()))
 *         auto* root = static_cast<kel::IInterface*>(found);
 *
 * Interfaces have no state, so copying one copies nothing.
 *
 * \par Extending the query
 * A class that offers further interfaces overrides the non-const overload only, beside a `using` of
 * the base's name; the const one calls it. A void pointer must be converted back to exactly the type
 * that the identifier names.
 *
 * \par Threads
 * The query reads nothing that changes, so any thread may ask as long as the object lives. The
 * pointer that it answers with doesn't keep the object alive.
 */
class QUARN_EXPORT IInterface
{
public:
    IInterface() = default;
    IInterface(const IInterface&) = default;
    IInterface& operator=(const IInterface&) = default;
    virtual ~IInterface();

    /** Same answer as the non-const overload, which it calls. */
    virtual const void* getInterface(const char* id) const;

    /**
     * Returns this object's IInterface if \a id equals ID() byte by byte, else null. A null
     * \a id is answered with null.
     */
    virtual void* getInterface(const char* id);

    /** The identifier "kel::IInterface"; the text lives as long as the library is loaded. */
    static const char* ID();
};

} // namespace kel
#endif
