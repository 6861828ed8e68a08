#include "Console.h"

#include <QCoreApplication>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

bool write(std::FILE* stream, const QByteArray& bytes)
{
    const bool written = std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stream)
                         == std::size_t(bytes.size());
    return std::fflush(stream) == 0 && written;
}

} // namespace

void Console::prepare()
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

bool Console::print(const QString& text)
{
    return write(stdout, text.toLocal8Bit());
}

bool Console::print(const QByteArray& bytes)
{
    return write(stdout, bytes);
}

bool Console::printError(const QString& text)
{
    return write(stderr, text.toLocal8Bit());
}

void Console::fail(const QString& message)
{
    QString line = message;
    for (QChar& character : line)
        if (character.category() == QChar::Other_Control)
            character = QLatin1Char('?');
    printError(QStringLiteral("%1: %2\n").arg(QCoreApplication::applicationName(), line));
}

bool Console::errorIsTerminal()
{
    return ::isatty(STDERR_FILENO) && qgetenv("TERM") != "dumb";
}

bool Console::errorIsReady()
{
    pollfd standardError = {STDERR_FILENO, POLLOUT, 0};
    return ::poll(&standardError, 1, 0) > 0;
}

int Console::terminalWidth()
{
    winsize size = {};
    const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : 80;
}

QString systemReason(int error)
{
    return QString::fromLocal8Bit(std::generic_category().message(error).c_str());
}
