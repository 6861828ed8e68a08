// Checks a download against its detached signature and a publisher's key, and shows how far it is.
// Exit status: 0 genuine, 1 not genuine, 2 it could not be checked.

#include <Quarn/signature/SignatureException.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

namespace {

bool showProgress(qint64 done, qint64 size)
{
    static int shown = -1;
    const int percent = size > 0 ? int(done * 100 / size) : 100;
    if (percent != shown)
        std::fprintf(stderr, "\rchecked %d %%", percent);
    shown = percent;
    return true; // false would cancel
}

//! [verify]
bool isGenuine(const QString& file, const QString& signature, const QString& key)
{
    const kel::SignatureVerifier verifier(kel::PublicKey::fromPemFile(key),
                                          kel::SignatureScheme::RsaPssSha256);
    return verifier.verifyFile(file, signature, showProgress);
}
//! [verify]

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        std::fprintf(stderr, "Usage: verify-download FILE SIGNATURE KEY\n"
                             "Make the signature with: openssl dgst -sha256 -sign PRIVATE_KEY "
                             "-sigopt rsa_padding_mode:pss\n"
                             "    -sigopt rsa_pss_saltlen:-1 -out SIGNATURE FILE\n");
        return 2;
    }
    //! [report]
    try {
        const bool genuine = isGenuine(arguments.at(1), arguments.at(2), arguments.at(3));
        std::fprintf(stderr, "\n%s\n", genuine ? "genuine" : "NOT genuine: don't open it");
        return genuine ? 0 : 1;
    } catch (const kel::IOException& exception) { // SignatureException is one, too
        std::fprintf(stderr, "\n%s\n", qPrintable(exception.message()));
        return 2;
    }
    //! [report]
}
