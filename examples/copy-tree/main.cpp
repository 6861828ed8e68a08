// Copies files and folders, shows how far it has come, and ends cleanly at Ctrl-C:
//     copy-tree photos notes.txt /media/backup
// What is there already stays; a second run copies what is missing.

#include <Quarn/filejobs/CopyJob.h>

#include <QCoreApplication>
#include <QTimer>

#include <csignal>
#include <cstdio>

namespace {

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int)
{
    interrupted = 1;
}

void show(const kel::FileProgress& progress)
{
    const double share
        = progress.bytesTotal > 0 ? double(progress.bytesDone) / double(progress.bytesTotal) : 0;
    std::fprintf(stderr, "\r%3.0f %%, %lld of %lld entries \x1b[K", 100 * share,
                 qlonglong(progress.entriesDone), qlonglong(progress.entriesTotal));
}

void showEnd(const kel::FileResult& result)
{
    std::fprintf(stderr, "\r%lld entries, %lld bytes copied\x1b[K\n", qlonglong(result.entries),
                 qlonglong(result.bytes));
    for (const kel::FileFailure& failure : result.failures)
        std::fprintf(stderr, "%s\n", qPrintable(failure.what()));
    if (result.cancelled)
        std::fprintf(stderr, "Cancelled; what was copied is whole\n");
}

int copy(const QStringList& sources, const QString& folder)
{
    //! [copy]
    kel::TransferOptions options;
    options.conflict = kel::ConflictPolicy::Skip;
    kel::CopyJob job(sources, folder, options);
    QObject::connect(&job, &kel::FileJob::progressChanged, show);
    QObject::connect(&job, &kel::FileJob::finished, [](const kel::FileResult& result) {
        showEnd(result);
        QCoreApplication::exit(result.ok() ? 0 : 1);
    });
    job.start();
    //! [copy]
    QTimer watch; // a signal's handler may do next to nothing itself
    QObject::connect(&watch, &QTimer::timeout, [&job] {
        if (interrupted)
            job.cancel();
    });
    watch.start(50);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() < 2) {
        std::fprintf(stderr, "Usage: copy-tree FILE-OR-FOLDER ... FOLDER\n");
        return 2;
    }
    std::signal(SIGINT, interrupt);
    const QString folder = arguments.takeLast();
    return copy(arguments, folder);
}
