#ifndef QUARN_BENCHMARKS_SIGNATURE_SIGNEDFILE_H
#define QUARN_BENCHMARKS_SIGNATURE_SIGNEDFILE_H

#include <QByteArray>
#include <QString>

namespace bench {

/** A file of 256 MiB, its detached SHA-1 signature, and the key that checks it. Made when used. */
class SignedFile
{
public:
    static constexpr qint64 size = 256 << 20;

    static const SignedFile& instance();

    QString path;
    QString signaturePath;
    QString keyPath;
    QByteArray signature;
    QByteArray publicKey; // PEM

private:
    SignedFile();
};

} // namespace bench
#endif
