// A producer and its reader, in any order of calls, against an array and two positions.
#include "Input.h"

#include "support/testBytes.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>
#include <Quarn/multiuser/MultiUserSpool.h>
#include <Quarn/multiuser/MultiUserSpoolReader.h>

#include <algorithm>

using namespace kel;

namespace {

template <typename Producer, typename Reader>
class Run
{
public:
    /** A line read takes \a lineLoss bytes less than it was given room for. */
    Run(Producer& producer, Reader& reader, bool rewrites, int lineLoss)
        : m_producer(producer), m_reader(reader), m_rewrites(rewrites), m_lineLoss(lineLoss)
    { }

    void operator()(Input& input)
    {
        while (!input.isEmpty()) {
            step(input);
            require(m_reader.size() == m_contents.size(), "size");
            require(m_reader.position() == m_readerAt, "the reader's position");
            require(m_finished || m_producer.position() == m_producerAt, "the producer's position");
            require(m_reader.canReadLine() == (m_contents.indexOf('\n', int(m_readerAt)) >= 0),
                    "canReadLine");
            require(m_reader.atEnd() == (m_finished && m_readerAt >= m_contents.size()), "atEnd");
            require(!m_reader.ioFailureDetected(), "nothing fails");
        }
    }

private:
    void step(Input& input)
    {
        switch (input.number(8)) {
        case 0:
        case 1:
            return write(input.number(40));
        case 2:
            return write(input.number(6000));
        case 3:
            if (m_rewrites && !m_finished)
                moveProducer(input.number(int(m_contents.size()) + 100));
            return;
        case 4:
            return read(input.number(6000));
        case 5:
            return peek(input.number(300));
        case 6:
            return readLine(3 + input.number(300));
        case 7:
            m_readerAt = input.number(int(m_contents.size()) + 10);
            return require(m_reader.seek(m_readerAt), "seek");
        default:
            if (input.number(9) == 9) {
                m_producer.finishIO();
                m_finished = true;
            }
        }
    }

    void write(int size)
    {
        QByteArray bytes = testBytes(size + m_writes++ % 7).right(size);
        bytes.replace('\x20', '\n');
        const int written = m_producer.write(bytes.constData(), size);
        if (m_finished && size > 0)
            return require(written == -1, "nothing is written behind the end");
        require(written == size, "all is written");
        m_contents.replace(int(m_producerAt), size, bytes);
        m_producerAt += size;
    }
    void moveProducer(int position)
    {
        require(m_producer.seek(position), "the producer seeks");
        m_contents.append(QByteArray(std::max(position - int(m_contents.size()), 0), '\0'));
        m_producerAt = position;
    }

    QByteArray expected(int most) const { return m_contents.mid(int(m_readerAt), most); }

    void read(int size)
    {
        QByteArray bytes(size, '?');
        const int count = m_reader.read(bytes.data(), size);
        require(std::max(count, 0) == expected(size).size(), "all that is there is read");
        require(bytes.startsWith(expected(size)), "what was written is read");
        m_readerAt += std::max(count, 0);
    }
    void peek(int size)
    {
        QByteArray bytes(size, '?');
        const qint64 count = m_reader.peek(bytes.data(), size);
        require(std::max<qint64>(count, 0) == expected(size).size(), "all is peeked at");
        require(bytes.startsWith(expected(size)), "what was written is peeked at");
    }
    void readLine(int size)
    {
        QByteArray bytes(size, '?');
        QByteArray line = expected(size - m_lineLoss);
        line.truncate(line.contains('\n') ? line.indexOf('\n') + 1 : line.size());
        const qint64 count = m_reader.readLine(bytes.data(), size);
        require(std::max<qint64>(count, 0) == line.size(), "a line");
        require(line.isEmpty() || bytes.startsWith(line + '\0'), "a line with its end");
        m_readerAt += line.size();
    }

    Producer& m_producer;
    Reader& m_reader;
    const bool m_rewrites;
    const int m_lineLoss;
    QByteArray m_contents;
    qint64 m_producerAt = 0;
    qint64 m_readerAt = 0;
    int m_writes = 0;
    bool m_finished = false;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    if (input.flag()) {
        MultiUserBuffer buffer;
        MultiUserReader reader(&buffer, false);
        Run(buffer, reader, true, 2)(input);
        return 0;
    }
    MultiUserSpool::Settings settings;
    settings.memoryLimit = 16384; // so that it spills to the disk soon
    MultiUserSpool spool(settings);
    MultiUserSpoolReader reader(&spool, false);
    Run(spool, reader, false, 1)(input);
    return 0;
}
