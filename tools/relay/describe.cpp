// Makes what is installed beside the program from what that says about itself: describe FOLDER

#include "completions.h"
#include "manualPage.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>

namespace {

bool write(const QString& path, const QString& text)
{
    QFile file(path);
    const QByteArray bytes = text.toUtf8();
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.flush())
        return true;
    std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(file.errorString()));
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QDir folder(QCoreApplication::arguments().value(1));
    return write(folder.filePath(QStringLiteral("quarn-relay.1")), manualPage())
                   && write(folder.filePath(QStringLiteral("quarn-relay.bash")), bashCompletion())
                   && write(folder.filePath(QStringLiteral("_quarn-relay")), zshCompletion())
               ? 0
               : 1;
}
