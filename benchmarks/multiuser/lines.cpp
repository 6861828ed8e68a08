#include "support/contest.h"
#include "support/families.h"

#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/multiuser/MultiUserReader.h>

#include <QBuffer>
#include <QTextStream>

#include <cstring>
#include <random>
#include <sstream>
#include <string>

// Reading finished data line by line into memory of the caller, without and with asking first
// whether there is another line.

namespace bench {
namespace {

constexpr int total = 64 << 20;

struct Text
{
    QByteArray bytes;
    int lines;
    int longest; // with its line feed
};

/** Lines of \a shortest to \a longest bytes. */
Text makeText(int shortest, int longest)
{
    std::minstd_rand random;
    Text text{QByteArray(total, 'x'), 0, longest};
    for (int at = 0; at < total; ++text.lines) {
        const int length = shortest + int(random() % unsigned(longest - shortest + 1));
        at = qMin(at + length, total);
        text.bytes[at - 1] = '\n';
    }
    return text;
}

const Text& shortLines()
{
    static const Text text = makeText(40, 80);
    return text;
}

const Text& longLines()
{
    static const Text text = makeText(total / 4, total / 4);
    return text;
}

/** Calls \a next until it returns 0, and checks the sum. */
template <typename Next>
void readAll(const Text& text, Next next)
{
    qint64 done = 0;
    int lines = 0;
    for (; const qint64 length = next(); done += length)
        ++lines;
    insist(done == total && lines == text.lines, "the lines read are not those that were there");
}

char* line(const Text& text)
{
    static QByteArray memory;
    memory.resize(text.longest + 2);
    return memory.data();
}

/** One search for each answer that is wanted before the line is copied. */
template <const Text& text()>
void searchAndCopy(int searches)
{
    const char* at = text().bytes.constData();
    const char* const end = at + total;
    readAll(text(), [&, to = line(text())]() -> qint64 {
        const void* found = nullptr;
        for (int search = 0; search < searches; ++search) {
            found = std::memchr(at, '\n', std::size_t(end - at));
            benchmark::ClobberMemory();
        }
        if (!found)
            return 0;
        const auto length = static_cast<const char*>(found) - at + 1;
        std::memcpy(to, at, std::size_t(length));
        benchmark::ClobberMemory();
        at += length;
        return length;
    });
}

template <const Text& text()>
void readByGetline()
{
    static std::istringstream stream(text().bytes.toStdString());
    static std::string to;
    stream.clear();
    stream.seekg(0);
    readAll(text(),
            []() -> qint64 { return std::getline(stream, to) ? qint64(to.size()) + 1 : 0; });
}

template <const Text& text()>
void readByTextStream()
{
    static QTextStream stream(text().bytes);
    static QString to;
    stream.seek(0);
    readAll(text(),
            []() -> qint64 { return stream.readLineInto(&to) ? qint64(to.size()) + 1 : 0; });
}

template <const Text& text()>
QIODevice& bufferOf()
{
    static QBuffer buffer;
    if (!buffer.isOpen()) {
        buffer.setData(text().bytes);
        buffer.open(QIODevice::ReadOnly);
    }
    return buffer;
}

template <const Text& text()>
QIODevice& readerOf()
{
    static kel::MultiUserBuffer buffer(text().bytes);
    static kel::MultiUserReader reader(&buffer, true);
    return reader;
}

template <const Text& text()>
void readByDevice(QIODevice& device, bool asking)
{
    device.seek(0);
    readAll(text(), [&, to = line(text())]() -> qint64 {
        if (asking && !device.canReadLine())
            return 0;
        return qMax<qint64>(0, device.readLine(to, text().longest + 2));
    });
}

template <const Text& text()>
void addLines(const std::string& parameter)
{
    const auto contender
        = [&](const char* name, Work work) { add("lines", parameter, name, std::move(work)); };
    contender(limit, [] { searchAndCopy<text>(1); });
    contender(standard, [] { readByGetline<text>(); });
    contender(qt, [] { readByTextStream<text>(); });
    contender("qbuffer", [] { readByDevice<text>(bufferOf<text>(), false); });
    contender(quarn, [] { readByDevice<text>(readerOf<text>(), false); });
}

template <const Text& text()>
void addCanReadLine(const std::string& parameter)
{
    const auto contender = [&](const char* name, Work work) {
        add("can-read-line", parameter, name, std::move(work));
    };
    contender(limit, [] { searchAndCopy<text>(2); });
    contender(qt, [] { readByDevice<text>(bufferOf<text>(), true); });
    contender(quarn, [] { readByDevice<text>(readerOf<text>(), true); });
}

} // namespace

void addLines()
{
    addLines<shortLines>("short");
    addLines<longLines>("long");
    addCanReadLine<shortLines>("short");
    addCanReadLine<longLines>("long");
}

} // namespace bench
