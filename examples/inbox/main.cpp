// A window into which a signed text arrives over the network: shown and verified while it comes, and
// saved, once it is known to be genuine, under a name that is free:
//     inbox [FILE]
// For a demonstration the program is both ends: it sends FILE, or a log that it makes up, to itself;
// with --damaged a byte changes on the way. With --demo PICTURE it saves by itself, in the folder of the
// picture, keeps a picture of its window and ends.

#include "Delivery.h"
#include "InboxWindow.h"
#include "Sender.h"
#include "demonstration.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

QByteArray madeUpLog()
{
    QByteArray log;
    for (int minute = 0; minute < 24 * 60; ++minute)
        log += QStringLiteral("%1:%2  Lighthouse %3: wind %4 m/s, visibility %5 km\n")
                   .arg(minute / 60, 2, 10, QLatin1Char('0'))
                   .arg(minute % 60, 2, 10, QLatin1Char('0'))
                   .arg(minute % 7 + 1)
                   .arg(5 + minute * 13 % 17)
                   .arg(8 + minute * 7 % 23)
                   .toUtf8();
    return log;
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The file to send."));
    const QCommandLineOption damaged(QStringLiteral("damaged"),
                                     QStringLiteral("Change a byte on the way."));
    const QCommandLineOption demo(QStringLiteral("demo"),
                                  QStringLiteral("Save, take a picture, end."),
                                  QStringLiteral("picture"));
    parser.addOptions({damaged, demo});
    parser.process(application);

    const QString path = parser.positionalArguments().value(0);
    QFile file(path);
    if (!path.isEmpty() && !file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(file.errorString()));
        return 1;
    }
    Sender sender(path.isEmpty() ? QStringLiteral("Harbour log.txt") : QFileInfo(path).fileName(),
                  path.isEmpty() ? madeUpLog() : file.readAll(), parser.isSet(damaged));
    Delivery delivery(sender.announcement(), sender.key());
    InboxWindow window(delivery);
    if (parser.isSet(demo))
        demonstrate(window,
                    parser.isSet(damaged) ? Delivery::Verdict::Damaged : Delivery::Verdict::Genuine,
                    QFileInfo(parser.value(demo)).absolutePath(), parser.value(demo));
    window.show();
    delivery.start(QStringLiteral("127.0.0.1"), sender.port());
    return QApplication::exec();
}
