#ifndef RELAY_OPTIONS_H
#define RELAY_OPTIONS_H

#include <QList>
#include <QString>

/** What the user asked for. An empty text or a 0 stands for "not asked for". */
struct Options
{
    QString input; // "-" is standard input
    QString signatureFile; // to check or, with signs, to write
    QString keyFile; // with signs a private one
    bool signs = false;
    QString scheme; // a name; empty for what fits the key
    QString certificateFile; // instead of a key
    QString rootsFile;
    QList<QByteArray> pins;
    QString passphraseFile;
    QString saveFile;
    int readers = 0;
    int followMsecs = 0;
    qint64 bytesPerSecond = 0;
    qint64 memoryLimit = 0; // 0 keeps everything in memory
    bool json = false; // the report
    bool quiet = false;
};

#endif
