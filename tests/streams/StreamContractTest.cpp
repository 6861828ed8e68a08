#include "support/TemporaryFolder.h"
#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/streams/DeviceStream.h>
#include <Quarn/streams/FileStream.h>
#include <Quarn/streams/MappedFileStream.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>
#include <Quarn/streams/SubStream.h>

#include <QBuffer>
#include <QTest>

#include <boost/make_shared.hpp>

using namespace kel;
using Stream = boost::shared_ptr<IRandomAccessIO>;

namespace {

/** A stream over bytes, and how to get at these from behind it. */
struct Kind
{
    const char* name;
    bool writes;
    Stream (*make)(const QString& path); // of a file with the bytes
};

template <typename Made, typename... Arguments>
Stream made(Arguments&&... arguments)
{
    return boost::make_shared<Made>(std::forward<Arguments>(arguments)...);
}

Stream memory(const QByteArray& bytes)
{
    const auto stream = boost::make_shared<QRandomAccessIO>();
    stream->setData(bytes);
    stream->open(QIODevice::ReadWrite);
    return stream;
}

Stream device(const QString& path)
{
    auto file = std::make_unique<QFile>(path);
    file->open(QIODevice::ReadWrite);
    return made<DeviceStream>(std::unique_ptr<QIODevice>(std::move(file)));
}

Stream rangeOfRange(const QString& path)
{
    TestStream::Manner manner;
    manner.mostAtOnce = 777;
    const Stream whole = made<TestStream>("head" + contentsOf(path), manner);
    return made<SubStream>(made<SubStream>(whole, 1, 1 << 30), 3);
}

const auto readWrite = QIODevice::ReadWrite;
const Kind kinds[] = {
    {"memory", true, [](const QString& path) { return memory(contentsOf(path)); }},
    {"file", true, [](const QString& path) { return made<FileStream>(path, readWrite); }},
    {"unbuffered file", true,
     [](const QString& path) { return made<FileStream>(path, readWrite | QIODevice::Unbuffered); }},
    {"device", true, device},
    {"range", true,
     [](const QString& path) { return made<SubStream>(memory("head" + contentsOf(path)), 4); }},
    {"range of a range of short transfers", true, rangeOfRange},
    {"mapping", false, [](const QString& path) { return made<MappedFileStream>(path); }},
};

QByteArray readAll(IRandomAccessIO& stream)
{
    std::vector<unsigned char> bytes;
    stream.setPosition(0);
    stream.readAll(bytes);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
}

const QByteArray bytes = testBytes(280000); // more than a large pass

} // namespace

/** What every stream owes its callers, the same questions for each class; and copies between all. */
class StreamContractTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheContract()
    {
        for (const Kind& kind : kinds) {
            for (const int size : {0, 1, 10000}) {
                const Stream stream = make(kind, bytes.left(size));
                IRandomAccessIO& s = *stream;
                const auto right = [&](bool answer) { return answer ? "" : kind.name; };
#define IS_RIGHT(answer) QCOMPARE(right(answer), "")
                char data[20000];
                IS_RIGHT(s.readable() && s.writable() == kind.writes && !s.ioFailureDetected());
                IS_RIGHT(s.streamSize() == size && s.eofEncountered() == (size == 0));
                IS_RIGHT(s.read(data, 0) == 0 && s.write(data, 0) == 0 && s.position() == 0);
                IS_RIGHT(readAll(s) == bytes.left(size) && s.position() == size);
                IS_RIGHT(s.eofEncountered() && s.read(data, 1) == 0 && !s.ioFailureDetected());
                quint64 one = 1, two = 2;
                void* three = data;
                IS_RIGHT(!s.getOutputInfo(one, two, &three) && one == 1 && two == 2
                         && three == data);
                IS_RIGHT(s.getVerificationFailures() == 0);

                IS_RIGHT(!s.setPosition(-1)); // memory takes what follows at the old place
                if (kind.make != kinds[0].make)
                    IS_RIGHT(s.read(data, 1) == -1 && s.ioFailureDetected());
                IS_RIGHT(s.setPosition(size / 2) && s.position() == size / 2);
                IS_RIGHT(!s.ioFailureDetected());
                IS_RIGHT(s.readBlock(data, size - size / 2) || size == 0);
                IS_RIGHT(bytes.mid(size / 2, size - size / 2) == QByteArray(data, size - size / 2));
                if (kind.writes) {
                    IS_RIGHT(s.setPosition(size / 2) && s.writeBlock("written over the end", 20));
                    s.flush();
                    IS_RIGHT(readAll(s).startsWith(bytes.left(size / 2) + "written over the end"));
                    IS_RIGHT(s.streamSize() == std::max(size, size / 2 + 20));
                } else {
                    IS_RIGHT(s.write("x", 1) == 0 && !s.writeBlock("x", 1));
                }
                s.finishIO();
            }
        }
    }

    void copiesBetweenAll()
    {
        constexpr int none = -1;
        const int copies[][4] // from, to, length, cancelled after
            = {{0, 0, -1, none},     {5, 7000, -1, none},   {70000, 5, 200000, none},
               {0, 0, 300000, none}, {280001, 0, -1, none}, {9, 3, 50, none},
               {0, 0, -1, 1},        {0, 10, -1, 30000}};
        for (const Kind& from : kinds)
            for (const Kind& to : kinds)
                for (const bool fast : {true, false})
                    for (const auto& c : copies)
                        if (to.writes && (fast || &from == kinds))
                            check(from, to, fast ? StreamUtils::copyFast : withProgress, c);
    }

    void rangeIsNotLeft()
    {
        TestStream whole("0123456789");
        SubStream range(&whole, 2, 5), rest(&whole, 8);
        QVERIFY(range.streamSize() == 5 && readAll(range) == "23456");
        QVERIFY(!range.setPosition(6) && range.read(nullptr, 1) == -1 && range.setPosition(4));
        QVERIFY(range.write("abc", 3) == 1 && range.write("d", 1) == 0
                && rest.write("ABC", 3) == 3);
        QCOMPARE(whole.bytes, QByteArray("012345a7ABC"));
        QVERIFY(rest.streamSize() == 3 && readAll(rest) == "ABC");

        TestStream::Manner manner;
        manner.exaggerates = true;
        TestStream liar("0123456789", manner);
        SubStream part(&liar, 0, 5);
        char data[5];
        QVERIFY(part.read(data, 2) == 2 && part.read(data, 2) == -1 && part.ioFailureDetected());
        SubStream without(nullptr, 0), outside(&whole, -1);
        for (IRandomAccessIO* none : {&without, &outside})
            QVERIFY(none->read(data, 1) == -1 && !none->readable() && none->ioFailureDetected()
                    && none->read(data, 0) == 0 && none->write(data, 0) == 0 && !none->nonBlocking()
                    && none->getVerificationFailures() == 0);
    }

    void copyFastMovesWithinOneFile()
    {
        for (const int to : {100, 9000, 140000}) {
            for (const bool back : {false, true}) {
                make(kinds[1], bytes);
                FileStream one(m_path, QIODevice::ReadWrite), other(m_path, QIODevice::ReadWrite);
                const int source = back ? to : 0;
                QCOMPARE(StreamUtils::copyFast(&one, source, &other, to - source, 130000),
                         qint64(130000));
                other.flush();
                QVERIFY(contentsOf(m_path).mid(to - source, 130000) == bytes.mid(source, 130000));
            }
        }
    }

private:
    using Copy = qint64 (*)(IRandomAccessIO*, qint64, IRandomAccessIO*, qint64, qint64,
                            const TransferProgress&);
    static constexpr Copy withProgress = StreamUtils::copy;

    void check(const Kind& from, const Kind& to, Copy copy, const int (&c)[4])
    {
        const auto place = QByteArray(from.name) + " to " + to.name + QByteArray::number(c[1]);
        QByteArray expected(10000, '-');
        const Stream source = make(from, bytes), destination = make(to, expected);
        char byte; // what is read ahead must not hide what is copied there
        destination->read(&byte, 1);
        qint64 told = 0;
        const auto progress = [&](qint64 done, qint64 size) {
            told = done > told && (size < 0 || done <= size) ? done : -1000000;
            return c[3] < 0 || done < c[3];
        };
        const qint64 count = copy(source.get(), c[0], destination.get(), c[1], c[2], progress);
        QVERIFY2(told == count, place.constData());
        const QByteArray wanted = bytes.mid(c[0], c[2]);
        if (c[3] >= 0) {
            QVERIFY2(count >= c[3] && count <= bytes.size(), place.constData());
            return;
        }
        expected.replace(c[1], int(wanted.size()), wanted);
        QVERIFY2(count == wanted.size() && readAll(*destination) == expected, place.constData());
    }

    Stream make(const Kind& kind, const QByteArray& data)
    {
        const char* const name = ++m_files % 2 ? "one" : "other";
        m_folder.write(name, data);
        m_path = m_folder.at(name);
        return kind.make(m_path);
    }

    TemporaryFolder m_folder{QStringLiteral("/dev/shm")};
    QString m_path; // of the last
    int m_files = 0;
};

QTEST_GUILESS_MAIN(StreamContractTest)
#include "StreamContractTest.moc"
