#include "platform/SignalWatch.h"

#include <QFile>
#include <QMutex>

#include <csignal>

#include <windows.h>

namespace {

QMutex mutex; // guards what follows
SignalWatch* watch = nullptr;
QString fileToRemove;
bool caughtOne = false;

void removeFile()
{
    const QMutexLocker locker(&mutex);
    if (!fileToRemove.isEmpty())
        QFile::remove(fileToRemove);
}

/** Whether the relay now ends in an orderly way. */
bool passOn(int signal)
{
    const QMutexLocker locker(&mutex);
    if (!watch || caughtOne)
        return false;
    caughtOne = true;
    QMetaObject::invokeMethod(
        watch, [receiver = watch, signal] { Q_EMIT receiver->caught(signal); },
        Qt::QueuedConnection);
    return true;
}

/** The system calls it in a thread that it starts for the purpose. */
BOOL WINAPI handle(DWORD event)
{
    constexpr DWORD patienceMsecs = 4000; // the system's is 5 seconds
    const bool mayGoOn = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    const bool passed = passOn(event == CTRL_C_EVENT ? SIGINT : mayGoOn ? SIGBREAK : SIGTERM);
    if (passed && mayGoOn)
        return TRUE;
    if (passed)
        ::Sleep(patienceMsecs); // the process ends meanwhile; it would when this returns
    removeFile();
    return FALSE; // the system's own handler ends the process
}

} // namespace

const int SignalWatch::brokenPipe = 13; // as elsewhere

SignalWatch::SignalWatch()
{
    {
        const QMutexLocker locker(&mutex);
        watch = this;
    }
    ::SetConsoleCtrlHandler(handle, TRUE);
}

SignalWatch::~SignalWatch()
{
    ::SetConsoleCtrlHandler(handle, FALSE);
    const QMutexLocker locker(&mutex);
    watch = nullptr;
}

void SignalWatch::setFileToRemove(const QString& path)
{
    const QMutexLocker locker(&mutex);
    fileToRemove = path;
}

void SignalWatch::endProcess(int signal)
{
    if (signal != brokenPipe)
        ::ExitProcess(DWORD(STATUS_CONTROL_C_EXIT));
}
