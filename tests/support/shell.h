#ifndef QUARN_TESTS_SUPPORT_SHELL_H
#define QUARN_TESTS_SUPPORT_SHELL_H

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLibrary>
#include <QProcess>
#include <QThread>

/** What goes wrong in the shell commands of \a script, which begin in \a folder. */
inline QByteArray shellErrors(const QString& folder, const QByteArray& script)
{
    const QString name = folder + QStringLiteral("/.script"), end = name + QStringLiteral(".end");
    QFile file(name), status(end), errors(name + QStringLiteral(".errors"));
    if (!file.open(QIODevice::WriteOnly) || file.write(script) != script.size())
        return "failed: no script";
    file.close();
    status.remove();
    const QString command = QStringLiteral("sh -e .script 2>.script.errors; "
                                           "echo $? >.script.new; mv .script.new .script.end");
    // Wine starts the programs of the system below it, but doesn't tell when they end.
    QProcess shell;
    const bool wine = QLibrary::resolve(QStringLiteral("ntdll"), "wine_get_version") != nullptr;
    shell.setProgram(wine ? QStringLiteral("Z:/bin/sh") : QStringLiteral("sh"));
    shell.setArguments({QStringLiteral("-c"), command});
    shell.setWorkingDirectory(folder);
    QElapsedTimer elapsed;
    elapsed.start();
    for (shell.startDetached(); !status.exists() && !elapsed.hasExpired(120000);)
        QThread::msleep(5);
    const bool read = status.open(QIODevice::ReadOnly) && errors.open(QIODevice::ReadOnly);
    return read && status.readAll().trimmed() == "0" ? QByteArray() : "failed: " + errors.readAll();
}

#endif
