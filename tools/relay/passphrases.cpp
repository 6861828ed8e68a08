#include "passphrases.h"

#include "Console.h"
#include "smallFiles.h"

#include <Quarn/companion/IOException.h>

#include <QString>

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int longest = 1024;

/** \brief The terminal that controls the process, with its echo off. */
class Terminal
{
public:
    Terminal() : m_descriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC))
    {
        if (!isOpen())
            return;
        m_isTerminal = ::tcgetattr(m_descriptor, &m_before) == 0;
        termios quiet = m_before;
        quiet.c_lflag &= ~tcflag_t(ECHO | ISIG);
        quiet.c_cc[VEOL] = quiet.c_cc[VINTR]; // ends the line, so that the echo comes back
        m_isTerminal = m_isTerminal && ::tcsetattr(m_descriptor, TCSAFLUSH, &quiet) == 0;
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal()
    {
        if (m_isTerminal)
            ::tcsetattr(m_descriptor, TCSAFLUSH, &m_before);
        if (isOpen())
            ::close(m_descriptor);
    }

    bool isUsable() const { return m_isTerminal; }

    void print(const QString& text) const
    {
        const QByteArray bytes = text.toLocal8Bit();
        (void)!::write(m_descriptor, bytes.constData(), std::size_t(bytes.size()));
    }

    /** A line without its end; empty when it was interrupted. */
    QByteArray line() const
    {
        QByteArray line;
        line.reserve(longest);
        line.resize(longest);
        ssize_t count;
        do {
            count = ::read(m_descriptor, line.data(), longest);
        } while (count < 0 && errno == EINTR);
        const bool ended = count > 0 && line.at(int(count) - 1) == '\n';
        line.truncate(ended ? int(count) - 1 : 0);
        return line;
    }

private:
    bool isOpen() const { return m_descriptor >= 0; }

    const int m_descriptor;
    bool m_isTerminal = false;
    termios m_before = {};
};

} // namespace

Secret passphraseIn(const QString& path)
{
    QByteArray word = contentsOf(QStringLiteral("passphrase"), path);
    word.truncate(int(std::strcspn(word.constData(), "\r\n")));
    return Secret(std::move(word));
}

Secret askPassphrase(const QString& keyFile)
{
    const auto fail = [&](const char* reason) {
        throw kel::IOException(QStringLiteral("cannot use the key %1: It is encrypted, and %2")
                                   .arg(keyFile, QLatin1String(reason)));
    };
    const Terminal terminal;
    if (!terminal.isUsable())
        fail("there is no terminal to ask for its passphrase (see --passphrase-file)");
    terminal.print(QStringLiteral("Passphrase of %1: ").arg(keyFile));
    Secret word(terminal.line());
    terminal.print(QStringLiteral("\n"));
    if (word.bytes().isEmpty())
        fail("no passphrase was given");
    return word;
}
