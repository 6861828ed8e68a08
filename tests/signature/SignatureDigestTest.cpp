#include "support/TestRegistry.h"

#include <Quarn/signature/SignatureDigest.h>
#include <Quarn/signature/SignatureException.h>
#include <Quarn/streams/QRandomAccessIO.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <boost/make_shared.hpp>

#include <functional>
#include <limits>

using namespace kel;

namespace {

using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Scenario = std::function<void(SignatureDigest&)>;

constexpr int foreignReason = 4711;
const QByteArray data(10000, 'd');

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
QString outcome(const Call& call)
{
    try {
        return call() ? QStringLiteral("true") : QStringLiteral("false");
    } catch (const SignatureException& exception) {
        return exception.message();
    } catch (const IOException& exception) {
        return QStringLiteral("IO: ") + exception.message();
    }
}

QByteArray commonNames(const SignatureDigest& digest)
{
    QByteArrayList names;
    for (X509* const certificate : digest.certificateChain()) {
        char name[64] = "";
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name, 64);
        names << name;
    }
    return names.join(' ');
}

Certificate parse(const QByteArray& pem)
{
    BIO* const bio = BIO_new_mem_buf(pem.constData(), int(pem.size()));
    Certificate certificate(PEM_read_bio_X509(bio, nullptr, nullptr, nullptr), &X509_free);
    BIO_free(bio);
    return certificate;
}

/** The PEM block with an algorithm of its key that nobody knows. */
QByteArray withUnknownKey(const QByteArray& pem)
{
    QByteArrayList lines = pem.trimmed().split('\n');
    const QByteArray first = lines.takeFirst(), last = lines.takeLast();
    QByteArray der = QByteArray::fromBase64(lines.join());
    der.replace(QByteArray::fromHex("2a864886f70d010101"),
                QByteArray::fromHex("2a864886f70d010163"));
    QByteArray text = first + '\n';
    for (int i = 0; i < der.size(); i += 48)
        text += der.mid(i, 48).toBase64() + '\n';
    return text + last + '\n';
}

} // namespace

Q_DECLARE_METATYPE(Scenario)

/** Works with keys, certificates and signatures that the openssl program makes. */
class SignatureDigestTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(write("data", data) && write("changed", data + 'x') && write("none", QByteArray())
                && write("garbage.sig", "no signature at all"));
        QVERIFY(openssl("genrsa -out rsa.key 2048"));
        QVERIFY(openssl("dsaparam -genkey -noout -out dsa.key 1024"));
        QVERIFY(openssl("ecparam -name prime256v1 -genkey -noout -out ec.key"));
        for (const QByteArray name : {"rsa", "dsa", "ec"}) {
            const QByteArray key = name + ".key ";
            QVERIFY(openssl("pkey -pubout -in " + key + "-out " + name + ".pub"));
            QVERIFY(openssl("req -x509 -new -key " + key + "-subj /CN=" + name + " -out " + name
                            + ".crt"));
            QVERIFY(openssl("dgst -sha1 -sign " + key + "-out " + name + ".sig data"));
        }
        QVERIFY(openssl("dgst -sha1 -sign rsa.key -out none.sig none"));
        QVERIFY(openssl("genpkey -algorithm ed25519 -out ed.key"));
        QVERIFY(openssl("pkey -in ed.key -pubout -out ed.pub"));
        QVERIFY(openssl("pkcs8 -topk8 -in ec.key -passout pass:secret -out pkcs8.enc"));
        QVERIFY(openssl("ec -in ec.key -aes128 -passout pass:secret -out traditional.enc"));
        m_certificate = parse(read("rsa.crt"));
    }

    void init()
    {
        ERR_clear_error();
        ERR_raise(ERR_LIB_USER, foreignReason);
    }

    void cleanup()
    {
        QCOMPARE(ERR_GET_REASON(ERR_get_error()), foreignReason);
        QCOMPARE(ERR_get_error(), 0ul);
    }

    void verifiesFiles_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("signature");
        QTest::addColumn<QString>("expected");
        const auto row = [this](const QByteArray& key, const char* file,
                                const QByteArray& signature, const char* expected) {
            QTest::newRow(key + ", " + file + ", " + signature)
                << path(key) << path(file) << path(signature) << QString::fromLatin1(expected);
        };
        for (const QByteArray name : {"rsa", "dsa", "ec"}) {
            row(name + ".pub", "data", name + ".sig", "true");
            row(name + ".crt", "data", name + ".sig", "true");
            row(name + ".pub", "changed", name + ".sig", "false");
            row(name + ".pub", "data", "garbage.sig", name == "rsa" ? "false" : "OpenSsl error");
        }
        row("ed.pub", "data", "rsa.sig", "OpenSsl error");
        row("rsa.pub", "missing", "none.sig", "true");
        row("rsa.pub", "missing", "rsa.sig", "false");
    }

    void verifiesFiles()
    {
        QFETCH(QString, key);
        QFETCH(QString, file);
        QFETCH(QString, signature);
        QFETCH(QString, expected);
        SignatureDigest digest;
        digest.setPublicKeyFile(key);
        digest.digest("earlier data", 12);
        QCOMPARE(outcome([&] { return digest.verify1File(file, signature); }), expected);
    }

    void verifiesInPieces()
    {
        SignatureDigest digest;
        digest.setPublicKeyFile(path("rsa.pub"));
        const QByteArray signature = read("rsa.sig");
        digest.setSignature(signature.constData(), int(signature.size()));
        QCOMPARE(digest.digest(data.constData(), 3000), 3000);
        QVERIFY(!digest.verify());
        digest.digest(data.constData(), 7000);
        QVERIFY(digest.verify());
        QCOMPARE(outcome([&] { return digest.digest("x", -1); }),
                 QStringLiteral("Digest update failed"));

        SignatureDigest copy(digest), assigned;
        assigned = digest;
        for (SignatureDigest* const other : {&copy, &assigned}) {
            QVERIFY(!other->verify());
            QCOMPARE(other->digestFile(path("data")), 10000);
            QVERIFY(other->verify());
        }
        QVERIFY(digest.verify());
    }

    void readsInChunks_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("atEnd");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QList<int>>("asked");
        QTest::newRow("nothing asked for") << 0 << 0 << 0 << QList<int>();
        QTest::newRow("up to the limit") << 10000 << 1 << 10000 << QList<int>{4096, 4096, 1808};
        QTest::newRow("up to the end") << 5000 << 0 << -1 << QList<int>{4096, 4096, 4096};
        QTest::newRow("up to a failure") << 4096 << -1 << 10000 << QList<int>{4096, 4096};
        QTest::newRow("longer than asked") << 4096 << 4097 << 9000 << QList<int>{4096, 4096};
    }

    void readsInChunks()
    {
        QFETCH(int, size);
        QFETCH(int, atEnd);
        QFETCH(int, limit);
        QFETCH(QList<int>, asked);
        for (const bool overStream : {false, true}) {
            const auto source = boost::make_shared<Source>(size, atEnd);
            SignatureDigest digest;
            digest.setPublicKeyFile(path("rsa.pub"));
            digest.setSignatureFile(path("rsa.sig"));
            QCOMPARE(overStream ? digest.digest(source, limit) : digest.digest(source.get(), limit),
                     qint64(size));
            QCOMPARE(source->asked, asked);
            digest.digest(data.constData(), int(data.size()) - size);
            QVERIFY(digest.verify());
        }
    }

    void countsBeyondInt()
    {
        constexpr int most = std::numeric_limits<int>::max();
        SignatureDigest digest;
        Source device(most + qint64(5000), 0);
        QCOMPARE(digest.digest(&device, -1), most);
        QCOMPARE(digest.digest(&device, -1), 5000);
    }

    void reportsMissingItems()
    {
        SignatureDigest digest;
        const auto verify = [&] { return digest.verify(); };
        QCOMPARE(outcome(verify), QStringLiteral("Public key expected"));
        digest.setPublicKeyFile(path("rsa.pub"));
        QCOMPARE(outcome(verify), QStringLiteral("Empty Signature"));
        QCOMPARE(digest.digestFile(path("missing")), 0);

        digest.setSignatureFile(path("none.sig"));
        for (const char* const name : {"missing %1", "none", "."}) {
            const QString message = QStringLiteral("IO: Could not read ") + path(name);
            QCOMPARE(outcome([&] { return digest.setSignatureFile(path(name)), true; }), message);
            QCOMPARE(outcome([&] { return digest.setPublicKeyFile(path(name)), true; }), message);
            QVERIFY(digest.verify());
        }
        QCOMPARE(outcome([&] { return digest.verify1File(path("data"), path("missing")); }),
                 QStringLiteral("IO: Could not read ") + path("missing"));
        QVERIFY(!digest.hasSignature());
        QVERIFY(digest.hasPublicKey());
    }

    void refusesWithoutSha1()
    {
        SignatureDigest digest, assigned;
        digest.setPublicKeyFile(path("rsa.crt"));
        digest.setSignatureFile(path("rsa.sig"));
        QVERIFY(EVP_set_default_properties(nullptr, "provider=none"));
        const QStringList outcomes{outcome([] { return SignatureDigest(), true; }),
                                   outcome([&] { return SignatureDigest(digest), true; }),
                                   outcome([&] { return assigned = digest, true; }),
                                   outcome([&] { return digest.reset(), true; })};
        QVERIFY(EVP_set_default_properties(nullptr, ""));
        for (const QString& message : outcomes)
            QCOMPARE(message, QStringLiteral("Could not initialize context"));

        QVERIFY(!assigned.hasPublicKey() && assigned.certificateChain().isEmpty());
        QCOMPARE(outcome([&] { return digest.digest("x", 1); }),
                 QStringLiteral("Digest update failed"));
        QCOMPARE(outcome([&] { return digest.verify(); }), QStringLiteral("OpenSsl error"));
        QVERIFY(verifies(digest));
    }

    void readsPem_data()
    {
        QTest::addColumn<QByteArray>("pem");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QByteArray>("chain");
        const QByteArray key = read("rsa.pub"), rsa = read("rsa.crt"), ec = read("ec.crt");
        const QByteArray pkcs8 = read("pkcs8.enc"), traditional = read("traditional.enc");
        const QByteArray lock
            = "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC," + QByteArray(32, '0');
        const QByteArray locked = QByteArray(key).insert(key.indexOf('\n') + 1, lock + "\n\n");
        const auto finds = [](const char* name, const QByteArray& pem, const char* chain) {
            QTest::newRow(name) << pem << QStringLiteral("true") << QByteArray(chain);
        };
        finds("leading text", QByteArray("-- - \n\n") + QByteArray(600, 'x') + '\n' + key, "ec");
        finds("CRLF", QByteArray(key).replace("\n", "\r\n"), "ec");
        finds("several certificates", "1\n" + rsa + "2\n" + ec + rsa, "rsa ec rsa");
        finds("key behind certificates", ec + ec + key, "ec");
        finds("key behind encrypted ones", pkcs8 + traditional + locked + key, "ec");
        finds("key behind a private one", read("ec.key") + key, "ec");
        finds("certificates amid encrypted keys", pkcs8 + rsa + traditional + ec, "rsa ec");
        finds("key behind unusable ones", pkcs8.left(200) + '\n' + withUnknownKey(key) + key, "ec");
        finds("unusable key, certificate", withUnknownKey(key) + rsa, "rsa");
        finds("damaged block ends the chain", rsa + ec.left(200) + '\n' + ec, "rsa");

        const auto refuses = [](const char* name, const QByteArray& pem) {
            QTest::newRow(name) << pem << QStringLiteral("Invalid public key") << QByteArray("ec");
        };
        refuses("empty", "");
        refuses("zeros", QByteArray(5000, '\0'));
        refuses("private keys", read("rsa.key") + pkcs8 + traditional);
        refuses("begin lines", key.left(key.indexOf('\n') + 1).repeated(1000));
        refuses("wrong label", QByteArray(key).replace("PUBLIC KEY", "CERTIFICATE"));
        refuses("wrong end", QByteArray(key).replace("END PUBLIC", "END PRIVATE"));
        refuses("line missing", QByteArray(key).remove(key.indexOf('\n'), 65));
        refuses("no base64", QByteArray(rsa).replace(100, 1, "*"));
        refuses("unknown algorithm", withUnknownKey(rsa) + rsa);
    }

    void readsPem()
    {
        QFETCH(QByteArray, pem);
        QFETCH(QString, result);
        QFETCH(QByteArray, chain);
        SignatureDigest digest;
        digest.setPublicKeyFile(path("ec.crt"));
        const QByteArray longer = pem + read("dsa.pub");
        QCOMPARE(
            outcome([&] { return digest.setPublicKey(longer.constData(), int(pem.size())), true; }),
            result);
        QCOMPARE(commonNames(digest), chain);
        QVERIFY(verifies(digest, result == QStringLiteral("true") ? "rsa.sig" : "ec.sig"));
    }

    void refusesCertificateWithoutKey()
    {
        const Certificate unusable = parse(withUnknownKey(read("rsa.crt")));
        QVERIFY(unusable);
        SignatureDigest digest;
        digest.setPublicKeyFile(path("ec.crt"));
        const auto set = [&](auto source) { return digest.setPublicKey(source), true; };
        const QString refused = QStringLiteral("Invalid public key");
        QCOMPARE(outcome([&] { return set(unusable.get()); }), refused);
        QCOMPARE(outcome([&] { return set(QList<X509*>{unusable.get()}); }), refused);
        QCOMPARE(commonNames(digest), QByteArray("ec"));
        QVERIFY(verifies(digest, "ec.sig"));
    }

    void survivesDamage()
    {
        ERR_clear_error();
        SignatureDigest digest;
        digest.setPublicKeyFile(path("ec.pub"));
        digest.setSignatureFile(path("ec.sig"));
        const QByteArray pem = read("ec.crt") + read("ec.pub");
        for (int i = 0; i < 4 * pem.size(); ++i) {
            const QByteArray damaged
                = QByteArray(pem).replace(i / 4, 1, QByteArray(1, "\nA-\xff"[i % 4]));
            outcome([&] { return digest.setPublicKey(damaged.constData(), -1), true; });
            outcome([&] { return digest.verify(); });
            QVERIFY(digest.hasPublicKey());
            QCOMPARE(ERR_peek_error(), 0ul);
        }
        init();
    }

    void keepsKeyAndChain_data()
    {
        QTest::addColumn<QByteArray>("chain");
        QTest::addColumn<Scenario>("scenario");
        const auto row = [](const char* name, const char* chain, const Scenario& scenario) {
            QTest::newRow(name) << QByteArray(chain) << scenario;
        };
        row("self-assignment", "rsa ec", [this](SignatureDigest& digest) {
            digest.setPublicKeyFile(path("rsa.pub"));
            const SignatureDigest& same = digest;
            digest = same;
        });
        row("assignment from a borrower", "rsa ec", [this](SignatureDigest& digest) {
            digest.setPublicKeyFile(path("rsa.pub"));
            const SignatureDigest borrower(digest);
            digest = borrower;
        });
        row("assignment to a borrower", "rsa ec", [](SignatureDigest& digest) {
            SignatureDigest borrower(digest);
            borrower = digest;
        });
        row("assignment from a borrower of the certificates", "rsa ec",
            [](SignatureDigest& digest) {
                SignatureDigest borrower;
                borrower.setPublicKey(digest.certificateChain());
                borrower.setPublicKey(X509_get0_pubkey(digest.certificateChain().first()));
                digest = borrower;
            });
        row("own key again", "rsa ec", [](SignatureDigest& digest) {
            digest.setPublicKey(X509_get0_pubkey(digest.certificateChain().first()));
        });
        row("own chain again", "rsa ec",
            [](SignatureDigest& digest) { digest.setPublicKey(digest.certificateChain()); });
        row("own first certificate", "rsa", [](SignatureDigest& digest) {
            digest.setPublicKey(digest.certificateChain().first());
        });
        row("key of a certificate of the caller", "rsa", [this](SignatureDigest& digest) {
            digest.setPublicKey(m_certificate.get());
            digest.setPublicKey(X509_get0_pubkey(m_certificate.get()));
        });
        row("PEM again", "rsa",
            [this](SignatureDigest& digest) { digest.setPublicKeyFile(path("rsa.crt")); });
    }

    void keepsKeyAndChain()
    {
        QFETCH(Scenario, scenario);
        SignatureDigest digest;
        digest.setPublicKey((read("rsa.crt") + read("ec.crt")).constData(), -1);
        scenario(digest);
        QTEST(commonNames(digest), "chain");
        QVERIFY(verifies(digest));
    }

    void copyOutlivesTheChain()
    {
        auto owner = std::make_unique<SignatureDigest>();
        owner->setPublicKeyFile(path("rsa.crt"));
        SignatureDigest copy(*owner), assigned;
        assigned = *owner;
        owner->setPublicKeyFile(path("ec.crt"));
        const SignatureDigest later(*owner);
        owner.reset();
        QCOMPARE(commonNames(copy), QByteArray("rsa"));
        QCOMPARE(commonNames(assigned), QByteArray("rsa"));
        QCOMPARE(commonNames(later), QByteArray("ec"));
    }

    void removesTheKeyAlone()
    {
        SignatureDigest digest;
        const auto remove = [&](auto... nothing) {
            digest.setPublicKeyFile(path("rsa.crt"));
            digest.setPublicKey(nothing...);
            return !digest.hasPublicKey() && commonNames(digest) == "rsa";
        };
        QVERIFY(remove(static_cast<EVP_PKEY*>(nullptr)));
        QVERIFY(remove(static_cast<X509*>(nullptr)));
        QVERIFY(remove(QList<X509*>()));
        QVERIFY(remove(static_cast<const char*>(nullptr), 5));
    }

private:
    QString path(const QByteArray& name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }
    bool openssl(const QByteArray& arguments) const;
    QByteArray read(const char* name) const;
    bool write(const char* name, const QByteArray& contents) const;
    bool verifies(SignatureDigest& digest, const char* signature = "rsa.sig") const;

    QTemporaryDir m_folder;
    Certificate m_certificate{nullptr, &X509_free};
};

bool SignatureDigestTest::openssl(const QByteArray& arguments) const
{
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.start(QStringLiteral("openssl"),
                  QString::fromLatin1(arguments).split(QLatin1Char(' ')));
    const bool done = process.waitForFinished() && process.exitCode() == 0;
    if (!done)
        qWarning("openssl %s: %s", arguments.constData(),
                 process.readAllStandardError().constData());
    return done;
}

QByteArray SignatureDigestTest::read(const char* name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool SignatureDigestTest::write(const char* name, const QByteArray& contents) const
{
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

bool SignatureDigestTest::verifies(SignatureDigest& digest, const char* signature) const
{
    return digest.verify1File(path("data"), path(signature));
}

QUARN_TEST(SignatureDigestTest)
#include "SignatureDigestTest.moc"
