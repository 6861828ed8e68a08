#include <Quarn/platform/SystemPath_p.h>

#include <QString>

namespace kel {

bool hasSystemForm(const QString& path)
{
    return !path.contains(QChar(QChar::Null));
}

} // namespace kel
