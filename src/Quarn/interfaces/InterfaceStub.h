#ifndef QUARN_INTERFACES_INTERFACESTUB_H
#define QUARN_INTERFACES_INTERFACESTUB_H

#include <Quarn/interfaces/IInterface.h>

namespace kel {

/**
 * An object without state that answers the interface query and does nothing else.
 *
 * \par Threads
 * Any number of threads may use one object at once.
 */
class QUARN_EXPORT InterfaceStub : public IInterface
{
public:
    InterfaceStub() = default;
    InterfaceStub(const InterfaceStub&) = default;
    InterfaceStub& operator=(const InterfaceStub&) = default;
    ~InterfaceStub() override;
};

} // namespace kel
#endif
