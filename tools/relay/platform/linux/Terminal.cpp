#include "platform/Terminal.h"

#include <QString>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int longest = 1024;

} // namespace

struct Terminal::State
{
    const int descriptor = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    bool isTerminal = false;
    termios before = {};
};

Terminal::Terminal() : m_state(std::make_unique<State>())
{
    if (m_state->descriptor < 0)
        return;
    m_state->isTerminal = ::tcgetattr(m_state->descriptor, &m_state->before) == 0;
    termios quiet = m_state->before;
    quiet.c_lflag &= ~tcflag_t(ECHO | ISIG);
    quiet.c_cc[VEOL] = quiet.c_cc[VINTR]; // ends the line, so that the echo comes back
    m_state->isTerminal
        = m_state->isTerminal && ::tcsetattr(m_state->descriptor, TCSAFLUSH, &quiet) == 0;
}

Terminal::~Terminal()
{
    if (m_state->isTerminal)
        ::tcsetattr(m_state->descriptor, TCSAFLUSH, &m_state->before);
    if (m_state->descriptor >= 0)
        ::close(m_state->descriptor);
}

bool Terminal::isUsable() const
{
    return m_state->isTerminal;
}

void Terminal::print(const QString& text) const
{
    const QByteArray bytes = text.toLocal8Bit();
    (void)!::write(m_state->descriptor, bytes.constData(), std::size_t(bytes.size()));
}

Secret Terminal::line() const
{
    QByteArray line;
    line.reserve(longest);
    line.resize(longest);
    ssize_t count;
    do {
        count = ::read(m_state->descriptor, line.data(), longest);
    } while (count < 0 && errno == EINTR);
    const bool ended = count > 0 && line.at(int(count) - 1) == '\n';
    line.truncate(ended ? int(count) - 1 : 0);
    return Secret(std::move(line));
}
