#include <Quarn/platform/FileComment_p.h>

#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/platform/SystemPath_p.h>

#include <QFile>
#include <QTextStream>

namespace kel {

QByteArray fileComment(const QString& path)
{
    QFile stream(path + commentStreamSuffix);
    return hasSystemForm(path) && stream.open(QIODevice::ReadOnly) ? stream.readAll()
                                                                   : QByteArray();
}

void setFileComment(const QString& path, const QString& text)
{
    QFile stream(path + commentStreamSuffix);
    if (hasSystemForm(path) && stream.open(QIODevice::WriteOnly))
        QTextStream(&stream) << text;
}

} // namespace kel
