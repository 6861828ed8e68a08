// Saves a document of the given size to a file while the program stays responsive: the file is
// opened and written on the worker thread, and the main thread's timer goes on showing the progress.

#include <Quarn/access/KelFileAccess.h>

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int pieceSize = 1 << 20;

class BackgroundSave : public QObject
{
public:
    BackgroundSave(const QString& fileName, const QByteArray& document)
        : m_document(document), m_access(fileName)
    {
        connect(&m_access, &kel::KelFileAccess::writeFinished, this, &BackgroundSave::onWritten);
        connect(&m_progress, &QTimer::timeout, this, &BackgroundSave::showProgress);
    }

    void start()
    {
        //! [open]
        connect(&m_access, &QThread::finished, this, &BackgroundSave::onOpened);
        m_access.open(QIODevice::WriteOnly, true);
        m_access.start();
        m_access.stop(); // finished() tells that the file has been opened, or could not be
        //! [open]
        m_progress.start(100);
    }

private:
    //! [write]
    void onOpened()
    {
        disconnect(&m_access, &QThread::finished, this, nullptr);
        if (m_access.error() != QFile::NoError)
            return finish(EXIT_FAILURE); // there is no such folder, for example
        m_access.start(); // again, for the writes
        writeNext();
    }

    void writeNext()
    {
        m_piece = m_document.mid(m_saved, pieceSize);
        m_access.write(m_piece);
    }

    void onWritten(qint64 count)
    {
        m_saved += int(qMax(count, qint64(0)));
        if (count != m_piece.size())
            return finish(EXIT_FAILURE); // the disk is full, or gone
        if (m_saved < m_document.size())
            return writeNext();
        finish(EXIT_SUCCESS);
    }
    //! [write]

    void finish(int status)
    {
        m_progress.stop();
        showProgress();
        std::fprintf(stderr, status == EXIT_SUCCESS ? "\n" : "\nThe file is not complete.\n");
        QCoreApplication::exit(status);
    }

    void showProgress()
    {
        std::fprintf(stderr, "\rsaved %d of %d bytes", m_saved, int(m_document.size()));
    }

    const QByteArray m_document;
    QByteArray m_piece;
    int m_saved = 0;
    QTimer m_progress;
    kel::KelFileAccess m_access; // last: its destructor waits for the worker
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int megabytes = arguments.value(2, QStringLiteral("256")).toInt();
    if (arguments.size() < 2 || megabytes < 1 || megabytes > 1024) {
        std::fprintf(stderr, "Usage: background-save FILE [MEGABYTES, 1 to 1024]\n");
        return EXIT_FAILURE;
    }
    BackgroundSave save(arguments.at(1), QByteArray(megabytes * pieceSize, 'x'));
    save.start();
    return QCoreApplication::exec();
}
