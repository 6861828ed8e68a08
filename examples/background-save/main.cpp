// Saves a document of the given size to a file while the program stays responsive: the writes run in
// another thread, and the main thread's timer goes on showing the progress. The old document stays
// as it is until the new one is whole and on the disk.

#include <Quarn/access/AsyncFile.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

constexpr int pieceSize = 1 << 20;

class BackgroundSave : public QObject
{
public:
    BackgroundSave(const QString& fileName, const QByteArray& document)
        : m_document(document), m_fileName(fileName),
          m_newName(m_fileName + QStringLiteral(".new%1").arg(QCoreApplication::applicationPid())),
          m_file(m_newName)
    {
        connect(&m_saved, &QFutureWatcherBase::finished, this, &BackgroundSave::finish);
        connect(&m_progress, &QTimer::timeout, this, &BackgroundSave::showProgress);
    }

    void start()
    {
        //! [save]
        m_opened = m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly);
        for (int position = 0; position < m_document.size(); position += pieceSize)
            m_file.write(m_document.mid(position, pieceSize));
        m_file.flush();
        m_saved.setFuture(m_file.close()); // a QFutureWatcher: finish() looks at its result
        //! [save]
        m_progress.start(100);
    }

private:
    void finish()
    {
        m_progress.stop();
        showProgress();
        QString fault = m_saved.result().errorString; // of whatever failed first
        if (fault.isEmpty())
            fault = replaceOld();
        if (!fault.isEmpty() && m_opened.result().ok())
            QFile::remove(m_newName);
        std::fprintf(stderr, "\n%s\n", fault.isEmpty() ? "done" : qPrintable(fault));
        QCoreApplication::exit(fault.isEmpty() ? EXIT_SUCCESS : EXIT_FAILURE);
    }

    /** In one step, so that there is a whole document at any time. */
    QString replaceOld() const
    {
        if (QFile::exists(m_fileName))
            QFile::setPermissions(m_newName, QFile::permissions(m_fileName));
        std::error_code error;
        std::filesystem::rename(m_newName.toStdU16String(), m_fileName.toStdU16String(), error);
        return error ? QString::fromLocal8Bit(error.message().c_str()) : QString();
    }

    void showProgress()
    {
        std::fprintf(stderr, "\r%d MB left ", int(m_file.queuedBytes() / pieceSize));
    }

    const QByteArray m_document;
    const QString m_fileName;
    const QString m_newName;
    QTimer m_progress;
    kel::AsyncFile m_file;
    kel::AsyncFile::Request m_opened;
    QFutureWatcher<kel::AsyncFileResult> m_saved;
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
    const QString target = QFileInfo(arguments.at(1)).canonicalFilePath(); // not the link to it
    BackgroundSave save(target.isEmpty() ? arguments.at(1) : target,
                        QByteArray(megabytes * pieceSize, 'x'));
    save.start();
    return QCoreApplication::exec();
}
