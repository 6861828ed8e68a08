#ifndef QUARN_COMPANION_QTLOGBUFFER_P_H
#define QUARN_COMPANION_QTLOGBUFFER_P_H

#include <QtGlobal>

#include <streambuf>
#include <string>

namespace kel {

/**
 * A wide stream buffer that hands what it got over to Qt's logging, in category "quarn", when it is
 * flushed: a message handler of the application gets whole lines.
 */
class QtLogBuffer : public std::wstreambuf
{
public:
    /** \a type: QtWarningMsg or QtCriticalMsg. */
    explicit QtLogBuffer(QtMsgType type);

    /** Hands over \a line at once. Any thread; throws what the message handler throws. */
    void write(const std::wstring& line) const;

protected:
    int_type overflow(int_type character) override;
    int sync() override;

private:
    const QtMsgType m_type;
    std::wstring m_pending;
};

} // namespace kel
#endif
