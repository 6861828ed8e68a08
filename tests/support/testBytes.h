#ifndef QUARN_TESTS_SUPPORT_TESTBYTES_H
#define QUARN_TESTS_SUPPORT_TESTBYTES_H

#include <QByteArray>

/** \a size bytes without a period that a wrong offset could hide behind. */
inline QByteArray testBytes(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 1;
    for (char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = char(state >> 24);
    }
    return bytes;
}

#endif
