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

template <typename Device>
std::unique_ptr<QIODevice> opened(std::unique_ptr<Device> device)
{
    if (!device->open(QIODevice::ReadWrite))
        qFatal("cannot open");
    return device;
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Stream memory(const QByteArray& bytes)
{
    const auto stream = boost::make_shared<QRandomAccessIO>();
    stream->setData(bytes);
    stream->open(QIODevice::ReadWrite);
    return stream;
}

const Kind kinds[] = {
    {"memory", true, [](const QString& path) { return memory(contents(path)); }},
    {"file", true,
     [](const QString& path) -> Stream {
         return boost::make_shared<FileStream>(path, QIODevice::ReadWrite);
     }},
    {"unbuffered file", true,
     [](const QString& path) -> Stream {
         return boost::make_shared<FileStream>(path, QIODevice::ReadWrite | QIODevice::Unbuffered);
     }},
    {"device", true,
     [](const QString& path) -> Stream {
         return boost::make_shared<DeviceStream>(opened(std::make_unique<QFile>(path)));
     }},
    {"range", true,
     [](const QString& path) -> Stream {
         return boost::make_shared<SubStream>(memory("head" + contents(path)), 4);
     }},
    {"range of a range of short transfers", true,
     [](const QString& path) -> Stream {
         TestStream::Manner manner;
         manner.mostAtOnce = 77;
         const Stream whole = boost::make_shared<TestStream>("head" + contents(path), manner);
         return boost::make_shared<SubStream>(boost::make_shared<SubStream>(whole, 1, 1 << 30), 3);
     }},
    {"mapping", false,
     [](const QString& path) -> Stream { return boost::make_shared<MappedFileStream>(path); }},
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
        struct
        {
            qint64 from, to, length, cancelAfter;
        } const copies[]
            = {{0, 0, -1, -1},      {5, 7000, -1, -1}, {70000, 5, 200000, -1}, {0, 0, 300000, -1},
               {280001, 0, -1, -1}, {9, 3, 50, -1},    {0, 0, -1, 1},          {0, 10, -1, 30000}};
        for (const Kind& from : kinds) {
            for (const Kind& to : kinds) {
                for (const bool fast : {true, false}) {
                    for (const auto& copy : copies) {
                        if (!to.writes || (!fast && &from != kinds))
                            continue;
                        const Stream source = make(from, bytes);
                        const QByteArray before(10000, '-');
                        const Stream destination = make(to, before);
                        const auto place = QByteArray(from.name) + " to " + to.name + ' '
                                           + QByteArray::number(qint64(&copy - copies));
                        char byte; // what is read ahead must not hide what is copied there
                        destination->read(&byte, 1);
                        qint64 told = 0;
                        const auto progress = [&](qint64 done, qint64 size) {
                            const bool grows = done > told && (size < 0 || done <= size);
                            told = grows ? done : -1000000;
                            return copy.cancelAfter < 0 || done < copy.cancelAfter;
                        };
                        const qint64 count = (fast ? StreamUtils::copyFast : withProgress)(
                            source.get(), copy.from, destination.get(), copy.to, copy.length,
                            progress);
                        QVERIFY2(told == count, place.constData());
                        const QByteArray wanted
                            = bytes.mid(int(copy.from), copy.length < 0 ? -1 : int(copy.length));
                        if (copy.cancelAfter >= 0) {
                            QVERIFY2(count >= copy.cancelAfter && count <= bytes.size(),
                                     place.constData());
                            continue;
                        }
                        QByteArray expected = before;
                        expected.replace(int(copy.to), int(wanted.size()), wanted);
                        QVERIFY2(count == wanted.size(), place.constData());
                        QVERIFY2(readAll(*destination) == expected, place.constData());
                    }
                }
            }
        }
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
            QVERIFY(none->read(data, 1) == -1 && !none->readable() && none->ioFailureDetected());
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
                QVERIFY(contents(m_path).mid(to - source, 130000) == bytes.mid(source, 130000));
            }
        }
    }

private:
    static qint64 withProgress(IRandomAccessIO* source, qint64 from, IRandomAccessIO* destination,
                               qint64 to, qint64 length, const TransferProgress& progress)
    {
        return StreamUtils::copy(source, from, destination, to, length, progress);
    }

    Stream make(const Kind& kind, const QByteArray& data)
    {
        m_path = m_folder.at(++m_files % 2 ? "one" : "other");
        QFile file(m_path);
        if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
            qFatal("cannot write");
        file.close();
        return kind.make(m_path);
    }

    TemporaryFolder m_folder{QStringLiteral("/dev/shm")};
    QString m_path; // of the last
    int m_files = 0;
};

QTEST_GUILESS_MAIN(StreamContractTest)
#include "StreamContractTest.moc"
