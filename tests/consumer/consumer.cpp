#include <Quarn/fileutils/FileUtils.h>
#include <Quarn/module/registerTranslations.h>
#include <Quarn/multiuser/MultiUserBuffer.h>
#include <Quarn/quarn_version.h>
#include <Quarn/streams/QRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

/** Sends a text through a shared buffer, as a program outside the project would. */
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const boost::shared_ptr<kel::MultiUserBuffer> buffer(new kel::MultiUserBuffer);
    const auto reader = kel::MultiUserBuffer::createReaderInterface(buffer, true);
    buffer->writeBlock("through the library", 19);
    buffer->finishIO();
    kel::QRandomAccessIO memory;
    memory.open(QIODevice::ReadWrite);
    kel::StreamUtils::copy(reader.get(), &memory, -1);
    std::printf("Qt %s, Quarn " QUARN_VERSION_STRING ": %s\n", qVersion(),
                memory.data().constData());
    if (argc > 1) // needs what Quarn loads at the first use
        kel::FileUtils::showDesktopWindow(QString::fromLocal8Bit(argv[1]));
    kel::registerTranslations();
    const bool translated = QFile::exists(QStringLiteral(":/Translations/Quarn_de.qm"));
    static_assert(QUARN_VERSION >= QT_VERSION_CHECK(1, 0, 0), "the version that was asked for");
    return translated && memory.data() == "through the library" ? 0 : 1;
}
