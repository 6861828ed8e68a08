// Shows a folder, copies, moves and trashes what is selected, with progress and cancel, and takes it
// back:
//     file-jobs [FOLDER]
// With --demo PICTURE it does that by itself and keeps a picture of its window.

#include "FilesWindow.h"
#include "demonstration.h"

#include <Quarn/fileutils/FileUtils.h>

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("The folder to show."));
    const QCommandLineOption demo(QStringLiteral("demo"),
                                  QStringLiteral("Copy, trash and undo, and save a picture."),
                                  QStringLiteral("picture"));
    parser.addOption(demo);
    parser.process(application);

    const QStringList arguments = parser.positionalArguments();
    const QString folder = arguments.value(0, kel::FileUtils::userDocumentsDir().absolutePath());
    FilesWindow window(folder);
    if (parser.isSet(demo))
        demonstrate(window, folder, parser.value(demo));
    window.show();
    return QApplication::exec();
}
