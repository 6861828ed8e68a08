#include "platform/SignalWatch.h"

#include "platform/systemReason.h"

#include <Quarn/companion/IOException.h>

#include <QFile>
#include <QSocketNotifier>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int endingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// What the handler uses.
int signalPipe[2] = {-1, -1};
char fileToRemove[4096] = {};
volatile std::sig_atomic_t caughtOne = 0;

void setHandler(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

bool isIgnored(int signal)
{
    struct sigaction action = {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void handle(int signal)
{
    const int errorBefore = errno;
    const bool first = !caughtOne;
    caughtOne = 1;
    const auto byte = static_cast<unsigned char>(signal);
    if (!first || ::write(signalPipe[1], &byte, 1) != 1) {
        if (fileToRemove[0] != '\0')
            ::unlink(fileToRemove);
        setHandler(signal, SIG_DFL);
        ::raise(signal); // takes effect when this handler returns
    }
    errno = errorBefore;
}

} // namespace

const int SignalWatch::brokenPipe = SIGPIPE;

SignalWatch::SignalWatch()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw kel::IOException(systemReason(errno));
    auto* const notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char signal = 0;
        if (::read(signalPipe[0], &signal, 1) == 1)
            Q_EMIT caught(signal);
    });
    for (const int signal : endingSignals)
        if (!isIgnored(signal))
            setHandler(signal, handle);
}

SignalWatch::~SignalWatch()
{
    for (const int signal : endingSignals)
        if (!isIgnored(signal))
            setHandler(signal, SIG_DFL);
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
}

void SignalWatch::setFileToRemove(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    if (name.isEmpty() || std::size_t(name.size()) >= sizeof fileToRemove)
        return;
    // The first byte last: a handler that comes in between finds no name rather than half of one.
    std::copy_n(name.constData() + 1, name.size(), fileToRemove + 1);
    std::atomic_signal_fence(std::memory_order_release);
    fileToRemove[0] = name[0];
}

void SignalWatch::endProcess(int signal)
{
    setHandler(signal, SIG_DFL);
    ::raise(signal);
}
