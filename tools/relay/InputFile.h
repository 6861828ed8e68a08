#ifndef RELAY_INPUTFILE_H
#define RELAY_INPUTFILE_H

#include "platform/InputSource.h"

#include <Quarn/streams/FileStream.h>

/**
 * \brief What is relayed: a file, a device, a pipe or standard input.
 *
 * Reads deliver what is there instead of waiting for all they asked for, and waiting, for a writer
 * or for bytes of a pipe, ends with the StopSwitch.
 */
class InputFile : public kel::FileStream
{
public:
    /** \a path may be "-" for standard input. */
    InputFile(const QString& path, const StopSwitch& stop);

    /** Opens for reading; failure() tells why it could not. Never waits for a pipe's writer. */
    virtual bool openInput();

    /** Bytes to come; -1 when only the end will tell. */
    virtual qint64 expectedSize() const;

    /** Why there is nothing more to read; empty at the proper end. */
    virtual QString failure() const;

    QString name() const;

    /** The name in messages of the input that \a path leads to. */
    static QString nameOf(const QString& path);

protected:
    qint64 readData(char* data, qint64 maxSize) override;

    const StopSwitch& stopSwitch() const;
    bool refuse(const QString& reason);

    /** The path that was given; unlike fileName() it is there when the file is open. */
    QString path() const;

private:
    const QString m_path;
    const StopSwitch& m_stop;
    InputSource m_source;
    QString m_refusal; // why it could not be opened
};

#endif
