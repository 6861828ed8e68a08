#include <Quarn/streams/RandomAccessStream.h>

namespace kel {

RandomAccessStream::~RandomAccessStream() = default;

void RandomAccessStream::enableNonBlockingMode(bool) { }

bool RandomAccessStream::nonBlocking()
{
    return false;
}

bool RandomAccessStream::readable()
{
    return true;
}

bool RandomAccessStream::writable()
{
    return false;
}

int RandomAccessStream::write(const void*, int)
{
    return 0;
}

void RandomAccessStream::flush() { }

void RandomAccessStream::finishIO() { }

bool RandomAccessStream::ioFailureDetected() const
{
    return false;
}

bool RandomAccessStream::eofEncountered() const
{
    return position() >= streamSize();
}

bool RandomAccessStream::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void RandomAccessStream::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool RandomAccessStream::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

} // namespace kel
