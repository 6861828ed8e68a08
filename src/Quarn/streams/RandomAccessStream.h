#ifndef QUARN_STREAMS_RANDOMACCESSSTREAM_H
#define QUARN_STREAMS_RANDOMACCESSSTREAM_H

#include <Quarn/companion/kelmIOCore.h>
#include <Quarn/interfaces/IRandomAccessIO.h>

namespace kel {

/**
 * \brief What most streams answer alike, so that a class of one's own supplies only what differs.
 *
 * A derived class has to supply read(), position(), setPosition() and streamSize(); block transfers
 * come from kelmIOCore. The rest is that of a stream that can only be read, never waits, holds
 * nothing back and never fails:
 *
 * | Operation                                 | Answer                                |
 * |-------------------------------------------|---------------------------------------|
 * | readable(), writable()                    | true, false                           |
 * | write()                                   | 0                                     |
 * | nonBlocking()                             | false; the switch is ignored          |
 * | flush(), finishIO()                       | nothing happens                       |
 * | ioFailureDetected()                       | false                                 |
 * | eofEncountered()                          | whether position() >= streamSize()    |
 * | getOutputInfo(), getThroughputStats()     | false, with the arguments untouched   |
 *
 * \par Threads
 * Those of the derived class: this one has no state.
 */
class QUARN_EXPORT RandomAccessStream : public virtual kelmIOCore, public virtual IRandomAccessIO
{
public:
    RandomAccessStream() = default;
    ~RandomAccessStream() override;

    using kelmIOCore::read;

    void enableNonBlockingMode(bool enable) override;
    bool nonBlocking() override;
    bool readable() override;
    bool writable() override;
    int write(const void* data, int size) override;
    void flush() override;
    void finishIO() override;
    bool ioFailureDetected() const override;
    bool eofEncountered() const override;
    bool getOutputInfo(quint64& first, quint64& second, void** third) const override;
    void setThroughputStats(quint64 first, quint64 second, quint64 third, quint64 fourth) override;
    bool getThroughputStats(quint64& first, quint64& second, quint64& third,
                            quint64& fourth) const override;
};

} // namespace kel
#endif
