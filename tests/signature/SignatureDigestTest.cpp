#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <boost/make_shared.hpp>

#include <limits>

using namespace kel;

namespace {

constexpr int foreignReason = 4711;
const QByteArray data(10000, 'd');

constexpr char fixtures[] = R"(set -e
printf %10000s | tr ' ' d >data
: >none
echo no signature at all | tee garbage.sig | cat data - >changed
openssl genrsa -out rsa.key 2048
openssl dsaparam -genkey -noout -out dsa.key 1024
openssl ecparam -name prime256v1 -genkey -noout -out ec.key
for name in rsa dsa ec; do
    openssl pkey -pubout -in $name.key -out $name.pub
    openssl req -x509 -new -key $name.key -subj /CN=$name -out $name.crt
    openssl dgst -sha1 -sign $name.key -out $name.sig data
done
openssl dgst -sha1 -sign rsa.key -out none.sig none
openssl pkcs8 -topk8 -in ec.key -passout pass:secret -out pkcs8.enc
openssl ec -in ec.key -aes128 -passout pass:secret -out traditional.enc)";

/** A device and a stream that delivers so many bytes and then the result given. */
class Source : public QRandomAccessIO
{
public:
    Source(qint64 size, int atEnd) : m_left(size), m_atEnd(atEnd) { open(ReadOnly); }

    QList<int> asked;

private:
    qint64 readData(char* bytes, qint64 wanted) override
    {
        asked.append(int(wanted));
        const qint64 count = std::min(m_left, wanted);
        memset(bytes, 'd', size_t(count));
        m_left -= count;
        return count > 0 ? count : m_atEnd;
    }

    qint64 m_left;
    const int m_atEnd;
};

/** The message of the exception that \a call ends with; "true" or "false" when it returns. */
template <typename Call>
QByteArray outcome(const Call& call)
{
    try {
        return call() ? "true" : "false";
    } catch (const IOException& exception) {
        const bool special = dynamic_cast<const SignatureException*>(&exception);
        return (special ? "" : "IO: ") + exception.message().toLocal8Bit();
    }
}

/** Such as "/CN=first/CN=second". */
QByteArray names(const SignatureDigest& digest)
{
    QByteArray names;
    char name[64];
    for (X509* const certificate : digest.certificateChain())
        names += X509_NAME_oneline(X509_get_subject_name(certificate), name, sizeof name);
    return names;
}

} // namespace

/** Works with keys, certificates and signatures that the openssl program makes. */
class SignatureDigestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QProcess shell;
        shell.setWorkingDirectory(m_folder.path());
        shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), QString::fromLatin1(fixtures)});
        QVERIFY2(shell.waitForFinished() && shell.exitCode() == 0,
                 shell.readAllStandardError().constData());
    }

    // Every test finds an entry of somebody else in OpenSSL's error queue, and leaves it alone.
    void init()
    {
        ERR_clear_error();
        ERR_raise(ERR_LIB_USER, foreignReason);
    }
    void cleanup()
    {
        QVERIFY(ERR_GET_REASON(ERR_get_error()) == foreignReason && ERR_get_error() == 0);
    }

    void verifiesFiles()
    {
        const auto check = [this](const QByteArray& key, const char* file,
                                  const QByteArray& signature, const QByteArray& expected) {
            SignatureDigest digest;
            digest.setPublicKeyFile(path(key));
            digest.digest("earlier data", 12);
            const QByteArray result
                = outcome([&] { return digest.verify1File(path(file), path(signature)); });
            QVERIFY2(result == expected,
                     (key + ' ' + file + ' ' + signature + ' ' + result).data());
        };
        for (const QByteArray name : {"rsa", "dsa", "ec"}) {
            check(name + ".pub", "data", name + ".sig", "true");
            check(name + ".crt", "data", name + ".sig", "true");
            check(name + ".pub", "changed", name + ".sig", "false");
            check(name + ".pub", "data", "garbage.sig", name == "rsa" ? "false" : "OpenSsl error");
        }
        check("rsa.pub", "missing", "none.sig", "true");
        check("rsa.pub", "missing", "rsa.sig", "false");
    }

    void verifiesInPieces()
    {
        SignatureDigest digest;
        digest.setPublicKeyFile(path("rsa.pub"));
        digest.setSignature(read("rsa.sig").constData(), int(read("rsa.sig").size()));
        QVERIFY(digest.digest(data.constData(), 3000) == 3000 && !digest.verify());
        QVERIFY(digest.digest(data.constData(), 7000) == 7000 && digest.verify());
        QVERIFY(outcome([&] { return digest.digest("x", -1); }) == "Digest update failed");
        SignatureDigest copy(digest), assigned;
        assigned = digest;
        for (SignatureDigest* const other : {&copy, &assigned})
            QVERIFY(!other->verify() && other->digestFile(path("data")) == 10000
                    && other->verify());
        QVERIFY(digest.verify());
    }

    void readsInChunks()
    {
        const auto check = [this](int size, int atEnd, int limit, const QList<int>& asked) {
            for (const bool overStream : {false, true}) {
                const auto source = boost::make_shared<Source>(size, atEnd);
                SignatureDigest digest;
                digest.setPublicKeyFile(path("rsa.pub"));
                digest.setSignatureFile(path("rsa.sig"));
                QCOMPARE(overStream ? digest.digest(source, limit)
                                    : digest.digest(source.get(), limit),
                         qint64(size));
                QCOMPARE(source->asked, asked);
                digest.digest(data.constData(), int(data.size()) - size);
                QVERIFY(digest.verify());
            }
        };
        check(0, 0, 0, {});
        check(10000, 1, 10000, {4096, 4096, 1808}); // up to the limit
        check(5000, 0, -1, {4096, 4096, 4096}); // up to the end
        check(4096, -1, 10000, {4096, 4096}); // up to a failure
        check(4096, 4097, 9000, {4096, 4096}); // up to a claim of more than asked for

        constexpr int most = std::numeric_limits<int>::max();
        SignatureDigest digest;
        Source device(most + qint64(5000), 0);
        QCOMPARE(digest.digest(&device, -1), most);
        QCOMPARE(digest.digest(&device, -1), 5000);
    }

    void reportsMissingItems()
    {
        SignatureDigest digest;
        QVERIFY(outcome([&] { return digest.verify(); }) == "Public key expected");
        digest.setPublicKeyFile(path("rsa.pub"));
        QVERIFY(outcome([&] { return digest.verify(); }) == "Empty Signature");
        digest.setSignatureFile(path("none.sig"));
        for (const QString& name : {path("missing %1"), path("none"), path(".")}) {
            const QByteArray message = "IO: Could not read " + name.toLocal8Bit();
            QCOMPARE(outcome([&] { return digest.setSignatureFile(name), true; }), message);
            QCOMPARE(outcome([&] { return digest.setPublicKeyFile(name), true; }), message);
            QVERIFY(digest.verify());
        }
        QVERIFY(outcome([&] { return verifies(digest, "missing"); }).startsWith("IO: Could not"));
        QVERIFY(!digest.hasSignature() && digest.hasPublicKey());
    }

    void refusesWithoutSha1()
    {
        SignatureDigest digest, assigned;
        digest.setPublicKeyFile(path("rsa.crt"));
        digest.setSignatureFile(path("rsa.sig"));
        QVERIFY(EVP_set_default_properties(nullptr, "provider=none"));
        const QByteArrayList outcomes{outcome([] { return SignatureDigest(), true; }),
                                      outcome([&] { return SignatureDigest(digest), true; }),
                                      outcome([&] { return assigned = digest, true; }),
                                      outcome([&] { return digest.reset(), true; })};
        QVERIFY(EVP_set_default_properties(nullptr, ""));
        QCOMPARE(int(outcomes.count("Could not initialize context")), 4);
        QVERIFY(!assigned.hasPublicKey() && assigned.certificateChain().isEmpty());
        QVERIFY(outcome([&] { return digest.digest("x", 1); }) == "Digest update failed");
        QVERIFY(outcome([&] { return digest.verify(); }) == "OpenSsl error");
        QVERIFY(verifies(digest));
    }

    void readsPem()
    {
        const QByteArray key = read("rsa.pub"), rsa = read("rsa.crt"), ec = read("ec.crt");
        const QByteArray pkcs8 = read("pkcs8.enc"), traditional = read("traditional.enc");
        const QByteArray begin = key.left(key.indexOf('\n') + 1);
        const QByteArray unknown = QByteArray(key).replace("w0BAQEF", "w0BAWMF"); // algorithm
        const QByteArray locked = begin + "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,"
                                  + QByteArray(32, '0') + "\n\n" + key.mid(begin.size());
        // Without a certificate in their place the former ones remain.
        const auto check = [this](const char* name, const QByteArray& pem, const char* chain,
                                  bool found = true) {
            SignatureDigest digest;
            digest.setPublicKeyFile(path("ec.crt"));
            const QByteArray longer = pem + read("dsa.pub");
            const QByteArray result = outcome(
                [&] { return digest.setPublicKey(longer.constData(), int(pem.size())), true; });
            QVERIFY2(result == (found ? "true" : "Invalid public key"), name);
            QVERIFY2(names(digest) == chain, name);
            QVERIFY2(verifies(digest, found ? "rsa.sig" : "ec.sig"), name);
        };
        check("key, CRLF", "-- -\n\n" + QByteArray(key).replace("\n", "\r\n"), "/CN=ec");
        check("certificates", "1\n" + rsa + "2\n" + ec + rsa, "/CN=rsa/CN=ec/CN=rsa");
        check("key last", ec + pkcs8 + traditional + locked + read("ec.key") + key, "/CN=ec");
        check("encrypted keys", pkcs8 + rsa + traditional + ec, "/CN=rsa/CN=ec");
        check("unusable keys, key", pkcs8.left(200) + '\n' + unknown + key, "/CN=ec");
        check("unusable key, certificate", unknown + rsa, "/CN=rsa");
        check("damage ends the chain", rsa + ec.left(200) + '\n' + ec, "/CN=rsa");
        check("nothing", "", "/CN=ec", false);
        check("private keys", read("rsa.key") + pkcs8 + traditional, "/CN=ec", false);
        check("begin lines", begin.repeated(1000), "/CN=ec", false);
        check("label", QByteArray(key).replace("PUBLIC KEY", "CERTIFICATE"), "/CN=ec", false);
        check("unknown algorithm", unknown, "/CN=ec", false);
    }

    void keepsKeyAndChain()
    {
        SignatureDigest digest, borrower;
        digest.setPublicKey((read("rsa.crt") + read("ec.crt")).constData(), -1);
        digest.setPublicKeyFile(path("rsa.pub"));
        const SignatureDigest& same = digest;
        const auto firstKey = [&] { return X509_get0_pubkey(digest.certificateChain().first()); };
        const QByteArray both("/CN=rsa/CN=ec");
        digest = same;
        QVERIFY(names(digest) == both && verifies(digest));
        borrower = digest;
        digest = borrower;
        QVERIFY(names(digest) == both && verifies(digest) && verifies(borrower));
        digest.setPublicKey(digest.certificateChain());
        digest.setPublicKey(firstKey()); // ours already
        QVERIFY(names(digest) == both && verifies(digest));

        SignatureDigest lister; // of certificates that are the other's
        lister.setPublicKey(digest.certificateChain());
        lister.setPublicKey(firstKey());
        digest = lister;
        QVERIFY(names(digest) == both && verifies(digest));
        digest.setPublicKey(digest.certificateChain().first());
        QVERIFY(names(digest) == "/CN=rsa" && verifies(digest));
        digest.setPublicKeyFile(path("rsa.crt"));
        QVERIFY(names(digest) == "/CN=rsa" && verifies(digest));

        auto owner = std::make_unique<SignatureDigest>(digest);
        owner->setPublicKeyFile(path("ec.crt"));
        const SignatureDigest copy(*owner);
        lister = *owner;
        owner->setPublicKeyFile(path("rsa.crt"));
        owner.reset();
        QCOMPARE(names(copy) + names(lister), QByteArray("/CN=ec/CN=ec"));
    }

    void takesTheCallersObjects()
    {
        const std::unique_ptr<X509, decltype(&X509_free)> keyless(X509_new(), &X509_free);
        SignatureDigest digest;
        const auto set = [&](auto... source) {
            digest.setPublicKeyFile(path("rsa.crt"));
            return outcome([&] { return digest.setPublicKey(source...), digest.hasPublicKey(); });
        };
        QCOMPARE(set(keyless.get()), QByteArray("Invalid public key"));
        QCOMPARE(set(QList<X509*>{keyless.get()}), QByteArray("Invalid public key"));
        QVERIFY(names(digest) == "/CN=rsa" && verifies(digest));
        QCOMPARE(set(static_cast<EVP_PKEY*>(nullptr)), QByteArray("false"));
        QCOMPARE(set(static_cast<X509*>(nullptr)), QByteArray("false"));
        QCOMPARE(set(QList<X509*>()), QByteArray("false"));
        QCOMPARE(set(static_cast<const char*>(nullptr), 5), QByteArray("false"));
        QCOMPARE(names(digest), QByteArray("/CN=rsa"));
    }

private:
    QString path(const QByteArray& n) const { return m_folder.filePath(QLatin1String(n)); }
    QByteArray read(const char* name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool verifies(SignatureDigest& digest, const char* signature = "rsa.sig") const
    {
        return digest.verify1File(path("data"), path(signature));
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(SignatureDigestTest)
#include "SignatureDigestTest.moc"
