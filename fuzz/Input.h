#ifndef QUARN_FUZZ_INPUT_H
#define QUARN_FUZZ_INPUT_H

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/** What each target of fuzz/ is: runs one input, and ends the program when something is wrong. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

/** Takes an input apart. When it is used up there are zeroes and empty texts. */
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_bytes(reinterpret_cast<const char*>(data), int(size))
    { }

    bool isEmpty() const { return m_next >= m_bytes.size(); }

    /** From 0 up to \a most, of one byte or of two. */
    int number(int most)
    {
        unsigned value = byte();
        if (most > 0xff)
            value = value << 8 | byte();
        return int(value % (unsigned(most) + 1));
    }
    bool flag() { return number(1) != 0; }

    /** Up to the next line feed, which is passed. */
    QByteArray line()
    {
        const auto end = m_bytes.indexOf('\n', m_next);
        const QByteArray found = m_bytes.mid(m_next, end < 0 ? -1 : end - m_next);
        m_next = end < 0 ? m_bytes.size() : end + 1;
        return found;
    }
    QString textLine() { return QString::fromUtf8(line()); }

    QByteArray rest()
    {
        const QByteArray found = m_bytes.mid(m_next);
        m_next = m_bytes.size();
        return found;
    }

private:
    unsigned byte() { return isEmpty() ? 0 : std::uint8_t(m_bytes.at(m_next++)); }

    const QByteArray m_bytes;
    decltype(QByteArray().size()) m_next = 0;
};

#endif
