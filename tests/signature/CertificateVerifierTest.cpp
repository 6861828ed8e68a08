#include "signature/outcome.h"
#include "support/TemporaryFolder.h"

#include <Quarn/signature/CertificateVerifier.h>

#include <cstdlib>
#include <future>
#include <thread>

using namespace kel;

namespace {

// issue NAME ISSUER EXTENSION...: a certificate for the key of that name, made when it is missing.
constexpr char fixtures[] = R"(
issue() {
    name=$1 issuer=$2; shift 2
    test -e $name.key || openssl ecparam -name prime256v1 -genkey -noout -out $name.key
    openssl req -new -key $name.key -subj /CN=$name -out request
    printf '%s\n' subjectKeyIdentifier=hash "$@" >extensions
    signer="-CA $issuer.crt -CAkey $issuer.key"
    test $issuer != $name || signer="-signkey $name.key"
    openssl x509 -req -in request $signer -CAcreateserial -days ${days:-3650} -${digest:-sha256} \
        -extfile extensions -out $name.crt
}
ca=basicConstraints=critical,CA:TRUE code=extendedKeyUsage=codeSigning
issue root root $ca
issue other other $ca
issue middle root $ca
issue tlsmiddle root $ca extendedKeyUsage=serverAuth
issue plainmiddle root
issue signonlymiddle root $ca keyUsage=digitalSignature
openssl genrsa -out weakmiddle.key 1024
issue weakmiddle root $ca
openssl genrsa -out weak.key 1024
issue weak middle $code
issue code middle $code keyUsage=digitalSignature
issue tls middle extendedKeyUsage=serverAuth
issue usageless middle
issue agreement middle $code keyUsage=keyAgreement
for middle in tlsmiddle plainmiddle signonlymiddle weakmiddle; do issue by$middle $middle $code; done
digest=sha1 issue sha1 middle $code
days=1 issue shortlived middle $code)";

QByteArray verified(const CertificateVerifier& authority, const QByteArray& chain)
{
    return outcome([&] { return !authority.verify(chain).isNull(); });
}

std::promise<void> processEnds;
std::thread lateThread;

/** Leaves a thread that ends after exit() has begun: nothing leaks or crashes then. */
void endThreadLate()
{
    std::atexit([] { // before OpenSSL's own function, and so called after that
        processEnds.set_value();
        lateThread.join();
    });
    std::promise<void> used;
    lateThread = std::thread([&used] {
        outcome([] {
            return CertificateVerifier("-----BEGIN CERTIFICATE-----\nAAAA\n"
                                       "-----END CERTIFICATE-----\n"),
                   true;
        });
        used.set_value();
        processEnds.get_future().wait();
    });
    used.get_future().wait();
}

} // namespace

/** Works with certificates that the openssl program makes. */
class CertificateVerifierTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        endThreadLate();
        QCOMPARE(shellErrors(m_folder.path(), fixtures), QByteArray());
    }
    void init() { ForeignError(); }
    void cleanup() { QVERIFY(ForeignError::isAlone()); }

    void decides()
    {
        const QByteArray middle = read("middle.crt"), root = read("root.crt");
        const struct
        {
            const char* certificate;
            QByteArray helpers;
            const char* reason;
            bool codeSigning = true;
            const char* trusted = "root.crt";
        } table[] = {
            {"code", middle, ""},
            {"code", root + middle, ""},
            {"code", read("other.crt") + middle + "\nwhatever\n" + read("code.key"), ""},
            {"code", "", "unable to get"},
            {"other", "", "self"},
            {"code", read("other.crt"), "unable to get"},
            {"tls", middle, "certificate purpose"},
            {"tls", middle, "", false},
            {"usageless", middle, "certificate purpose"},
            {"usageless", middle, "", false},
            {"agreement", middle, "certificate purpose"},
            {"agreement", middle, "certificate purpose", false},
            {"bytlsmiddle", read("tlsmiddle.crt"), "certificate purpose"},
            {"bytlsmiddle", read("tlsmiddle.crt"), "", false},
            {"byplainmiddle", read("plainmiddle.crt"), "certificate", false},
            {"bysignonlymiddle", read("signonlymiddle.crt"), "invalid CA", false},
            {"weak", middle, "key too weak"},
            {"byweakmiddle", read("weakmiddle.crt"), "key too weak"},
            {"sha1", middle, "too weak"},
            {"root", "", "certificate purpose"},
            {"code", middle, "", true, "middle.crt"},
            {"code", middle, "", true, "code.crt"},
        };
        for (const auto& item : table) {
            CertificateVerifier authority(read(item.trusted));
            if (!item.codeSigning)
                authority.setPurpose(CertificateVerifier::AnyPurpose);
            const QByteArray chain = read(item.certificate + QByteArray(".crt")) + item.helpers;
            const QByteArray result = verified(authority, chain);
            const bool right = *item.reason ? result.startsWith("Certificate not trusted: ")
                                                  && result.contains(item.reason)
                                            : result == "true";
            QVERIFY2(right, item.certificate + (' ' + result));
        }
    }

    void watchesTimeStrengthAndPins()
    {
        const QByteArray chain = read("shortlived.crt") + read("middle.crt");
        CertificateVerifier authority(read("root.crt"));
        const auto result = [&] { return verified(authority, chain); };
        const QDateTime now = QDateTime::currentDateTimeUtc();
        authority.setTime(now.addDays(-1));
        QCOMPARE(result(), QByteArray("Certificate not trusted: certificate is not yet valid"));
        authority.setTime(now.addDays(2));
        QCOMPARE(result(), QByteArray("Certificate not trusted: certificate has expired"));
        authority.setTime(QDateTime());
        const QByteArray fingerprint = authority.verify(chain).fingerprint();
        QVERIFY(fingerprint == PublicKey::fromPem(chain).fingerprint() && fingerprint.size() == 32);
        for (const auto& [bits, good] : {std::pair{0, true}, {128, true}, {129, false}}) {
            authority.setMinimumSecurityBits(bits);
            QCOMPARE(result() == "true", good);
        }
        authority.setMinimumSecurityBits(112);
        authority.setPinnedKeys({QByteArray(32, 'x')});
        QCOMPARE(result(), QByteArray("Certificate not trusted: key is not pinned"));
        authority.setPinnedKeys({QByteArray(32, 'x'), fingerprint});
        QCOMPARE(result(), QByteArray("true"));
        QCOMPARE(outcome([&] { return authority.setPinnedKeys({fingerprint.toHex()}), true; }),
                 QByteArray("Invalid fingerprint"));
    }

    void refusesDamage()
    {
        const QByteArray root = read("root.crt"), code = read("code.crt") + read("middle.crt");
        const CertificateVerifier authority(root);
        const QByteArray invalid = "Invalid certificate";
        for (const QByteArray& bad :
             {QByteArray(), read("code.key"), root.left(300), root + root.left(300),
              root.left(200) + root, QByteArray(root).replace("CERTIFICATE", "PUBLIC KEY"),
              QByteArray("-----BEGIN CERTIFICATE-----\n").repeated(100000)}) {
            QCOMPARE(outcome([&] { return CertificateVerifier(bad), true; }), invalid);
            QCOMPARE(verified(authority, bad), invalid);
            QCOMPARE(outcome([&] { return !PublicKey::fromPem(bad).isNull(); }),
                     bad == root + root.left(300) ? QByteArray("true") : "Invalid public key");
        }

        for (int at = 28; at < code.size(); at += 3) {
            QByteArray bad = code;
            bad[at] = code.at(at) == 'A' ? 'B' : 'A';
            const QByteArray result = verified(authority, bad);
            QVERIFY2(result == invalid || result.startsWith("Certificate not trusted")
                         || result == "Invalid public key"
                         // line ends, and the last bits before padding, don't count
                         || (result == "true" && (code.at(at) == '\n' || code.at(at + 1) == '=')),
                     result + bad);
        }
    }

    void limitsTheirNumber()
    {
        const QByteArray root = read("root.crt"), other = read("other.crt");
        const QByteArray chain = read("code.crt") + other.repeated(998) + read("middle.crt");
        const CertificateVerifier authority(other.repeated(999) + root);
        QCOMPARE(verified(authority, chain), QByteArray("true"));
        const QByteArray refusal = "Too many certificates";
        QCOMPARE(verified(authority, chain + root), refusal);
        QCOMPARE(outcome([&] { return CertificateVerifier(root.repeated(20000)), true; }), refusal);
    }

private:
    QByteArray read(const QByteArray& name) const { return m_folder.contents(name.constData()); }

    TemporaryFolder m_folder;
};

QTEST_GUILESS_MAIN(CertificateVerifierTest)
#include "CertificateVerifierTest.moc"
