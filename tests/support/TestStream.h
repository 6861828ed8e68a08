#ifndef QUARN_TESTS_SUPPORT_TESTSTREAM_H
#define QUARN_TESTS_SUPPORT_TESTSTREAM_H

#include <Quarn/streams/RandomAccessStream.h>

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <limits>

/** A stream over a byte array that can be made short-winded, faulty or dishonest. */
class TestStream : public kel::RandomAccessStream
{
public:
    struct Manner
    {
        int mostAtOnce = std::numeric_limits<int>::max(); // short reads and writes
        qint64 failAfter = std::numeric_limits<qint64>::max(); // bytes transferred, then -1
        bool exaggerates = false; // from the second transfer on answers one byte too many
    };

    explicit TestStream(const QByteArray& contents = QByteArray()) : bytes(contents) { }
    TestStream(const QByteArray& contents, const Manner& how) : bytes(contents), manner(how) { }

    using kelmIOCore::read;
    using kelmIOCore::readAll;
    using kelmIOCore::readBlock;
    using kelmIOCore::writeBlock;

    QByteArray bytes;
    Manner manner;
    qint64 reportedSize = -1; // if not the real one
    QStringList calls; // such as "s 0" and "r 0+10"

    int read(void* data, int maxSize) override
    {
        calls << QStringLiteral("r %1+%2").arg(m_position).arg(maxSize);
        const int count = allowed(std::min<qint64>(maxSize, bytes.size() - m_position));
        if (count > 0)
            std::copy_n(bytes.constData() + m_position, count, static_cast<char*>(data));
        return advanced(count, maxSize);
    }
    int write(const void* data, int size) override
    {
        calls << QStringLiteral("w %1+%2").arg(m_position).arg(size);
        const int count = allowed(size);
        if (count > 0 && bytes.size() < m_position + count)
            bytes.append(int(m_position + count - bytes.size()), '\0');
        if (count > 0)
            std::copy_n(static_cast<const char*>(data), count, bytes.data() + m_position);
        return advanced(count, size);
    }
    qint64 position() const override { return m_position; }
    bool setPosition(qint64 position) override
    {
        calls << QStringLiteral("s %1").arg(position);
        return m_position = position, true;
    }
    qint64 streamSize() const override { return reportedSize < 0 ? bytes.size() : reportedSize; }

    bool writable() override { return true; }
    bool ioFailureDetected() const override { return m_transferred >= manner.failAfter; }

private:
    int allowed(qint64 count) const
    {
        const qint64 left = manner.failAfter - m_transferred;
        const qint64 most = std::min<qint64>({count, manner.mostAtOnce, left});
        return left > 0 ? int(std::max<qint64>(most, 0)) : -1;
    }
    int advanced(int count, int asked)
    {
        const bool first = m_transferred == 0;
        m_position += std::max(count, 0);
        m_transferred += std::max(count, 0);
        return count > 0 && manner.exaggerates && !first ? asked + 1 : count;
    }

    qint64 m_position = 0;
    qint64 m_transferred = 0;
};

#endif
