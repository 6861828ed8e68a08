#include <Quarn/platform/FileComment_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QFile>
#include <QFileInfo>
#include <QTextStream>

namespace kel {
namespace {

/** The stream of the file that \a path leads to; one without a name when there is no such file. */
QString streamPath(const QString& path, const QString& suffix)
{
    const QString file = hasSystemForm(path) ? QFileInfo(path).canonicalFilePath() : QString();
    return file.isEmpty() ? QString() : file + suffix;
}

QByteArray readAll(const QString& path)
{
    QFile stream(path);
    const bool opened = !path.isEmpty() && stream.open(QIODevice::ReadOnly);
    const QByteArray bytes = opened ? stream.readAll() : QByteArray();
    return stream.error() == QFileDevice::NoError ? bytes : QByteArray();
}

} // namespace

QByteArray fileComment(const QString& path, const QString& suffix)
{
    return readAll(streamPath(path, suffix));
}

void setFileComment(const QString& path, const QString& text, const QString& suffix)
{
    const QString name = streamPath(path, suffix);
    const QByteArray former = readAll(name);
    QFile stream(name);
    if (name.isEmpty() || !stream.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return;
    QTextStream writer(&stream);
    writer << text;
    writer.flush();
    if (writer.status() == QTextStream::Ok)
        return;
    stream.resize(0); // a full disk; the former comment has had its room there
    stream.seek(0);
    stream.write(former);
}

} // namespace kel
