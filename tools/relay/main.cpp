// Relays a file, a pipe or a growing file to consumers that read it at the same time through one
// shared buffer: --help tells what they do, Relay.h how they come together. It also builds outside
// the library's tree: cmake -S . -B build -DCMAKE_PREFIX_PATH=(where Quarn is installed)

#include "CommandLine.h"
#include "Console.h"
#include "Relay.h"
#include "platform/StandardStreams.h"
#include "platform/systemReason.h"

#include <Quarn/companion/ExceptionQt.h>
#include <Quarn/quarn_version.h>

#include <QCoreApplication>

#include <cerrno>

namespace {

constexpr int failed = 2;

int printInformation(const QString& text)
{
    if (Console::print(text))
        return 0;
    Console::fail(QStringLiteral("cannot write to standard output: %1").arg(systemReason(errno)));
    return failed;
}

/** Returns the exit status, and in \a signal what interrupted the relay, if anything. */
int run(const Options& options, int& signal)
{
    try {
        Relay relay(options);
        const int status = relay.run();
        signal = relay.interruptedBy();
        return status;
    } catch (const kel::ExceptionQt& exception) {
        Console::fail(exception.message());
    } catch (const std::exception& exception) {
        Console::fail(QString::fromLocal8Bit(exception.what()));
    }
    return failed;
}

} // namespace

int main(int argc, char** argv)
{
    StandardStreams::prepare();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quarn-relay"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUARN_VERSION_STRING));

    const CommandLine commandLine(QCoreApplication::arguments());
    if (!commandLine.information().isEmpty())
        return printInformation(commandLine.information());
    if (!commandLine.error().isEmpty()) {
        Console::fail(commandLine.error());
        return failed;
    }
    int signal = 0;
    const int status = run(commandLine.options(), signal);
    if (signal != 0)
        SignalWatch::endProcess(signal);
    return status;
}
