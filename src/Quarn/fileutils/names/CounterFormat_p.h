#ifndef QUARN_FILEUTILS_NAMES_COUNTERFORMAT_P_H
#define QUARN_FILEUTILS_NAMES_COUNTERFORMAT_P_H

#include <QByteArray>
#include <QString>

namespace kel {

/**
 * A printf() format for one int that comes from a caller. It is checked and taken apart here, so
 * that nothing is ever formatted which reads other arguments or none.
 */
class CounterFormat
{
public:
    /** \a format is UTF-8; null is a bad format. */
    explicit CounterFormat(const char* format);

    /** False when anything but literal text, "%%" and one integer conversion is in the format. */
    bool isValid() const { return m_valid; }

    /** Another text for each number; without a conversion the same for all. */
    QString text(int number) const;

private:
    bool parse(const QString& format);
    bool hasConversion() const { return !m_conversion.isEmpty(); }

    QString m_before;
    QString m_after;
    QByteArray m_conversion; // for an int, without size letters
    bool m_valid;
};

} // namespace kel
#endif
