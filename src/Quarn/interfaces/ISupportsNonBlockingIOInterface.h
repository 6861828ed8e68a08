#ifndef QUARN_INTERFACES_ISUPPORTSNONBLOCKINGIOINTERFACE_H
#define QUARN_INTERFACES_ISUPPORTSNONBLOCKINGIOINTERFACE_H

#include <Quarn/interfaces/IInterface.h>

namespace kel {

/**
 * A switch between reads that wait for data and reads that return at once.
 *
 * \par Threads
 * The switch belongs to the thread that reads.
 */
class QUARN_EXPORT ISupportsNonBlockingIOInterface : public virtual IInterface
{
public:
    ISupportsNonBlockingIOInterface() = default;
    ISupportsNonBlockingIOInterface(const ISupportsNonBlockingIOInterface&) = default;
    ISupportsNonBlockingIOInterface& operator=(const ISupportsNonBlockingIOInterface&) = default;
    ~ISupportsNonBlockingIOInterface() override;

    /**
     * With true, reads return at once when no data is there; with false, they wait for it.
     * A stream that cannot wait ignores the call.
     */
    virtual void enableNonBlockingMode(bool enable) = 0;
};

} // namespace kel
#endif
