#include <Quarn/streams/QRandomAccessIO.h>

#include <Quarn/companion/kelmBuffer.h>
#include <Quarn/companion/narrow_p.h>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <new>

namespace kel {

QRandomAccessIO::QRandomAccessIO(QObject* parent) : QBuffer(parent) { }

QRandomAccessIO::QRandomAccessIO(QByteArray* bytes, QObject* parent) : QBuffer(bytes, parent) { }

QRandomAccessIO::~QRandomAccessIO() = default;

int QRandomAccessIO::read(kelmBuffer& buffer, int size)
{
    if (buffer.size() < size)
        buffer.setSize(size);
    return read(buffer.firstByte(), size);
}

bool QRandomAccessIO::readBlock(kelmBuffer& buffer, int size)
{
    return read(buffer, size) != 0;
}

int QRandomAccessIO::readAll(kelmBuffer& buffer, int)
{
    const QByteArray bytes = QIODevice::readAll();
    const int count = narrow(bytes.size());
    if (buffer.size() < count)
        buffer.setSize(count);
    std::copy_n(bytes.constData(), count, buffer.firstByte());
    return count;
}

boost::shared_ptr<kelmBuffer> QRandomAccessIO::readAll(int)
{
    const QByteArray bytes = QIODevice::readAll();
    const auto buffer = boost::make_shared<kelmBuffer>(narrow(bytes.size()), 1);
    std::copy_n(bytes.constData(), buffer->size(), buffer->firstByte());
    return buffer;
}

int QRandomAccessIO::read(void* data, int maxSize)
{
    return maxSize == 0 ? 0 : narrow(QIODevice::read(static_cast<char*>(data), maxSize));
}

bool QRandomAccessIO::readBlock(void* data, int size)
{
    return read(data, size) != 0;
}

void QRandomAccessIO::readAll(std::vector<unsigned char>& data)
{
    data.resize(std::size_t(std::max<qint64>(QIODevice::bytesAvailable(), 0)));
    QIODevice::read(reinterpret_cast<char*>(data.data()), qint64(data.size()));
}

int QRandomAccessIO::write(const void* data, int size)
{
    return size == 0 ? 0 : narrow(QIODevice::write(static_cast<const char*>(data), size));
}

bool QRandomAccessIO::writeBlock(const void* data, int size)
{
    return write(data, size) != 0;
}

QByteArray QRandomAccessIO::read(qint64 maxSize)
{
    return QIODevice::read(maxSize);
}

QByteArray QRandomAccessIO::readAll()
{
    return QIODevice::readAll();
}

qint64 QRandomAccessIO::write(const QByteArray& bytes)
{
    return QIODevice::write(bytes);
}

qint64 QRandomAccessIO::write(const char* text)
{
    return QIODevice::write(text);
}

void QRandomAccessIO::enableNonBlockingMode(bool) { }

bool QRandomAccessIO::nonBlocking()
{
    return false;
}

bool QRandomAccessIO::readable()
{
    return true;
}

bool QRandomAccessIO::writable()
{
    return true;
}

void QRandomAccessIO::flush() { }

void QRandomAccessIO::finishIO() { }

bool QRandomAccessIO::ioFailureDetected() const
{
    return false;
}

bool QRandomAccessIO::eofEncountered() const
{
    return QBuffer::atEnd();
}

bool QRandomAccessIO::getOutputInfo(quint64&, quint64&, void**) const
{
    return false;
}

void QRandomAccessIO::setThroughputStats(quint64, quint64, quint64, quint64) { }

bool QRandomAccessIO::getThroughputStats(quint64&, quint64&, quint64&, quint64&) const
{
    return false;
}

qint64 QRandomAccessIO::position() const
{
    return QBuffer::pos();
}

bool QRandomAccessIO::setPosition(qint64 position)
{
    const qint64 before = QBuffer::pos();
    try {
        if (QBuffer::seek(position))
            return true;
    } catch (const std::bad_alloc&) { // for the bytes up to there
    }
    if (QBuffer::pos() != before) // QBuffer moves to the end to fill the gap
        QBuffer::seek(before);
    return false;
}

qint64 QRandomAccessIO::streamSize() const
{
    return QBuffer::size();
}

} // namespace kel
