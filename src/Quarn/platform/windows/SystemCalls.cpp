#include <Quarn/platform/windows/SystemCalls_p.h>

#include <QProcess>

namespace kel {
namespace {

bool startDetached(const QString& program, const QString& arguments)
{
    QProcess process;
    process.setProgram(program);
    process.setNativeArguments(arguments);
    return process.startDetached();
}

SystemCalls realCalls()
{
    SystemCalls calls;
    calls.startDetached = startDetached;
    return calls;
}

} // namespace

SystemCalls& systemCalls()
{
    static SystemCalls calls = realCalls();
    return calls;
}

} // namespace kel
