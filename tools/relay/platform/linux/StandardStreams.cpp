#include "platform/StandardStreams.h"

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

void StandardStreams::prepare()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0)
            ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(::nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0)
        ::setenv("LC_ALL", "C.UTF-8", 1);
}

bool StandardStreams::write(std::FILE* stream, const QByteArray& bytes)
{
    const bool written = std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stream)
                         == std::size_t(bytes.size());
    return std::fflush(stream) == 0 && written;
}

bool StandardStreams::write(std::FILE* stream, const QString& text)
{
    return write(stream, text.toLocal8Bit());
}

bool StandardStreams::errorIsTerminal()
{
    return ::isatty(STDERR_FILENO) && qgetenv("TERM") != "dumb";
}

bool StandardStreams::errorIsReady()
{
    pollfd standardError = {STDERR_FILENO, POLLOUT, 0};
    return ::poll(&standardError, 1, 0) > 0;
}

int StandardStreams::terminalWidth()
{
    winsize size = {};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}
