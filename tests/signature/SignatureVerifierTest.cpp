#include "signature/outcome.h"
#include "support/FailingReads.h"
#include "support/TemporaryFolder.h"
#include "support/TestStream.h"
#include "support/posix.h"
#include "support/testBytes.h"

#include <Quarn/signature/SignatureSigner.h>
#include <Quarn/signature/SignatureVerifier.h>

#include <QBuffer>

#include <boost/make_shared.hpp>

#include <future>

using namespace kel;

namespace {

using Scheme = SignatureScheme;

struct Case
{
    Scheme scheme;
    const char* key;
    const char* openssl; // how that program says it
};

#define PSS "-sigopt rsa_padding_mode:pss -sigopt rsa_pss_saltlen:-1 -"
constexpr Case cases[] = {
    {Scheme::RsaPkcs1Sha256, "rsa", "-sha256"},    {Scheme::RsaPkcs1Sha384, "rsa", "-sha384"},
    {Scheme::RsaPkcs1Sha512, "rsa4", "-sha512"},   {Scheme::RsaPssSha256, "rsa", PSS "sha256"},
    {Scheme::RsaPssSha384, "rsa", PSS "sha384"},   {Scheme::RsaPssSha512, "rsa4", PSS "sha512"},
    {Scheme::RsaPssSha256, "pss", PSS "sha256"},   {Scheme::EcdsaSha256, "p256", "-sha256"},
    {Scheme::EcdsaSha384, "p384", "-sha384"},      {Scheme::EcdsaSha512, "p521", "-sha512"},
    {Scheme::EcdsaSha512, "secp256k1", "-sha512"}, {Scheme::Ed25519, "ed", nullptr},
};

constexpr char fixtures[] = R"(
openssl genrsa -out rsa.key 2048
openssl genrsa -out rsa3.key 3072
openssl genrsa -out rsa4.key 4096
openssl genrsa -out weak.key 1024
openssl genpkey -algorithm RSA-PSS -out pss.key
openssl genpkey -algorithm ED25519 -out ed.key
for curve in P-256 P-384 P-521 secp256k1; do
    openssl ecparam -name $curve -genkey -noout -out $(echo $curve | tr -d - | tr P p).key
done
for key in *.key; do openssl pkey -in $key -pubout -out ${key%.key}.pub; done)";

/** Bytes that come in small pieces, without an end that is known before, and then the result. */
class Pipe : public QIODevice
{
public:
    Pipe(const QByteArray& data, int atEnd, const char* error = "") : m_data(data), m_atEnd(atEnd)
    {
        open(ReadOnly | Unbuffered);
        setErrorString(QString::fromLatin1(error));
    }
    bool isSequential() const override { return true; }

private:
    qint64 readData(char* bytes, qint64 wanted) override
    {
        const auto count = std::min<qint64>({wanted, 1000, m_data.size() - m_done});
        std::copy_n(m_data.constData() + m_done, count, bytes);
        m_done += count;
        return count > 0 ? count : m_atEnd;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

    const QByteArray m_data;
    const int m_atEnd;
    qint64 m_done = 0;
};

QByteArray flipped(QByteArray bytes, int bit)
{
    bytes.data()[bit / 8] = char(bytes.at(bit / 8) ^ (1 << bit % 8));
    return bytes;
}

/** All bits of both ends of so many bytes, and about \a count of those between. */
std::vector<int> someBits(qint64 size, int count)
{
    const int last = int(size) * 8 - 1,
              step = last / count | 1; // odd: each bit of a byte in its turn
    std::vector<int> bits;
    for (int bit = 0; bit <= last; ++bit)
        if (bit < 8 || bit > last - 8 || bit % step == 0)
            bits.push_back(bit);
    return bits;
}

} // namespace

class SignatureVerifierTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(shellErrors(m_folder.path(), fixtures), QByteArray());
        m_folder.write("data", m_data);
    }
    void init() { ForeignError(); }
    void cleanup() { QVERIFY(ForeignError::isAlone()); }

    void interoperates()
    {
        for (const Case& item : cases) {
            const QByteArray key = item.key, how = item.openssl;
            if (key != "pss") // the signer doesn't take these
                SignatureSigner::fromPemFile(at(key + ".key"), {}, item.scheme)
                    .signFile(at("data"), at("ours"));
            const QByteArray pkeyutl = "openssl pkeyutl -rawin -in data ";
            const QByteArray script = how.isEmpty()
                                          ? pkeyutl + "-sign -inkey ed.key -out sig\n" + pkeyutl
                                                + "-verify -pubin -inkey ed.pub -sigfile ours"
                                          : "openssl dgst " + how + " -sign " + key
                                                + ".key -out sig data\ntest " + key
                                                + " = pss || openssl dgst " + how + " -verify "
                                                + key + ".pub -signature ours data";
            QCOMPARE(shellErrors(m_folder.path(), script), QByteArray());
            QVERIFY2(verifier(item).verifyFile(at("data"), at("sig")), script.constData());
        }
    }

    void refusesEveryChange()
    {
        int pairs = 0, flips = 0;
        for (const QByteArray key :
             {"rsa", "rsa3", "rsa4", "p256", "p384", "p521", "secp256k1", "ed"})
            for (int number = 0; number <= int(Scheme::Ed25519); ++number) {
                const Case item{Scheme(number), key, nullptr};
                if (outcome([&] { return verifier(item), true; }) != "true")
                    continue; // no key for that scheme
                ++pairs;
                const auto signer = SignatureSigner::fromPemFile(at(key + ".key"), {}, item.scheme);
                const SignatureVerifier check = verifier(item);
                for (const int size : {0, 1, 64, 4097}) {
                    const QByteArray data = testBytes(size), good = signer.sign(data);
                    QVERIFY(check.verify(data, good) && !check.verify(data + '\0', good));
                    for (const int bit : someBits(good.size(), 130))
                        QVERIFY2(++flips && !check.verify(data, flipped(good, bit)), key);
                    for (const int bit : someBits(data.size(), 40))
                        QVERIFY2(++flips && !check.verify(flipped(data, bit), good), key);
                    for (const QByteArray& bad : {QByteArray(), good.left(1), good.chopped(1),
                                                  good + '\0', '\0' + good, good + good})
                        QVERIFY2(!check.verify(data, bad), key);
                }
            }
        QCOMPARE(pairs, 3 * 6 + 4 * 3 + 1);
        qInfo("%d bits flipped", flips);
        QVERIFY(flips >= 20000);
    }

    void readsAllSources()
    {
        for (const Scheme scheme : {Scheme::EcdsaSha256, Scheme::Ed25519}) {
            const auto signer = SignatureSigner::generate(scheme);
            const SignatureVerifier check(signer.publicKey(), scheme);
            for (const int size : {0, 1, 256 << 10, (256 << 10) + 1, 5 << 20}) {
                const QByteArray data = testBytes(size);
                const QByteArray good = signer.sign(data), all = "skipped" + data;
                m_folder.write("sized", data);
                m_folder.write("sized.sig", good);
                QByteArray bytes = all;
                QBuffer device(&bytes);
                QVERIFY(device.open(QIODevice::ReadOnly) && device.seek(7));
                Pipe pipe(data, -1), quietPipe(data, 0);
                TestStream::Manner shortWinded;
                shortWinded.mostAtOnce = 70000;
                const auto stream = boost::make_shared<TestStream>(data, shortWinded);
                QVERIFY(check.verify(&device, good) && device.atEnd());
                QVERIFY(check.verify(&pipe, good) && check.verify(&quietPipe, good));
                QVERIFY(check.verify(stream, good));
                QVERIFY(check.verifyFile(at("sized"), at("sized.sig")));
                const QByteArray contents
                    = check.verifiedContents(at("sized"), at("sized.sig"), size);
                QVERIFY(contents == data && !contents.isNull());
                QVERIFY(check.verifiedContents(at("sized"), at("data"), size).isNull());
                QVERIFY(device.seek(7) && signer.sign(&device).size() > 0);
            }
        }
    }

    void refusesWhatIsNotRead()
    {
        const auto signer = SignatureSigner::generate(Scheme::EcdsaSha256);
        const SignatureVerifier check(signer.publicKey(), Scheme::EcdsaSha256);
        m_folder.write("good.sig", signer.sign(m_data));
        ::mkfifo(QFile::encodeName(at("fifo")).constData(), 0600);
        const QString null = QLatin1String(hasPosix ? "/dev/null" : "NUL");
        for (const QString& name :
             {at("missing"), at("fifo"), at("."), null, at("data") + QChar(QChar::Null)}) {
            const QByteArray error = "IO: Could not read " + name.toLocal8Bit();
            QCOMPARE(outcome([&] { return check.verifyFile(name, at("good.sig")); }), error);
            QCOMPARE(outcome([&] { return check.verifyFile(at("data"), name); }), error);
            QCOMPARE(outcome([&] { return PublicKey::fromPemFile(name), true; }), error);
        }
        QCOMPARE(outcome([&] {
                     return check.verifiedContents(at("data"), at("good.sig"), 9999).isNull();
                 }),
                 "IO: Could not read " + at("data").toLocal8Bit());
        for (const bool once : {false, true}) {
            if (!hasPosix)
                break;
            const FailingReads failing(3, once); // 200 bytes of the signature and 100 of the data
            const QByteArray result
                = outcome([&] { return check.verifyFile(at("data"), at("good.sig")); });
            QVERIFY(failing.happened() && (once || result.startsWith("IO: Could not read")));
        }
        const QByteArray good = signer.sign(QByteArray()), error = "IO: Could not read data";
        Pipe broken(QByteArray(), -1, "broken"), brokenLater(QByteArray(), 0, "broken");
        QFile closed(at("data"));
        for (QIODevice* const device :
             {static_cast<QIODevice*>(&broken), static_cast<QIODevice*>(&brokenLater),
              static_cast<QIODevice*>(&closed), (QIODevice*)nullptr})
            QCOMPARE(outcome([&] { return check.verify(device, good); }), error);
        TestStream::Manner failing;
        failing.failAfter = 0;
        for (const auto& stream : {boost::make_shared<TestStream>("x", failing), {}})
            QCOMPARE(outcome([&] { return check.verify(stream, good); }), error);
    }

    void noticesChangesAndCancels()
    {
        const auto signer = SignatureSigner::generate(Scheme::EcdsaSha256);
        const SignatureVerifier check(signer.publicKey(), Scheme::EcdsaSha256);
        const QByteArray data = testBytes(4 << 20);
        m_folder.write("changing.sig", signer.sign(data));
        const auto during = [&](const TransferProgress& progress) {
            m_folder.write("changing", data);
            return outcome(
                [&] { return check.verifyFile(at("changing"), at("changing.sig"), progress); });
        };
        qint64 last = 0;
        QCOMPARE(during([&](qint64 done, qint64 size) {
                     return done > std::exchange(last, done) && size == data.size();
                 }),
                 QByteArray("true"));
        QCOMPARE(last, qint64(data.size()));
        const QByteArray error = "IO: Could not read " + at("changing").toLocal8Bit();
        for (const qint64 newSize : {data.size() + 1, data.size() - 1})
            QCOMPARE(during([&](qint64, qint64) { return QFile::resize(at("changing"), newSize); }),
                     error);
        for (const int after : {1, 3 << 20})
            QCOMPARE(during([&](qint64 done, qint64) { return done < after; }),
                     QByteArray("Cancelled"));
    }

    void readsBeyond4GiB()
    {
        const auto signer = SignatureSigner::generate(Scheme::RsaPssSha256);
        const SignatureVerifier check(signer.publicKey(), Scheme::RsaPssSha256);
        constexpr qint64 size = (qint64(1) << 32) + 10;
        QFile file(at("large"));
        QVERIFY(file.open(QIODevice::ReadWrite) && file.resize(size));
        signer.signFile(at("large"), at("large.sig"));
        QVERIFY(file.seek(size - 1) && file.putChar('x') && file.flush());
        QVERIFY(!check.verifyFile(at("large"), at("large.sig")));
        const SignatureVerifier undigested(PublicKey::fromPemFile(at("ed.pub")), Scheme::Ed25519);
        QCOMPARE(outcome([&] { return undigested.verifyFile(at("large"), at("large.sig")); }),
                 QByteArray("Too much data for this scheme"));
    }

    void refusesUnfitKeys()
    {
        const char begin[] = "-----BEGIN PUBLIC KEY-----\n", end[] = "-----END PUBLIC KEY-----\n";
        const QByteArray text = m_folder.contents("rsa.pub").replace(begin, "").replace(end, "");
        QByteArray der = QByteArray::fromBase64(text); // the exponent becomes an even number
        der.replace(QByteArray("\x02\x03\x01\x00\x01", 5), QByteArray("\x02\x03\x01\x00\x00", 5));
        m_folder.write("even.pub", begin + der.toBase64() + '\n' + end);
        const char unfit[] = "Key does not fit the scheme", weak[] = "Key too weak";
        const struct
        {
            const char* key;
            Scheme scheme;
            const char* expected;
            int bits = 112;
        } table[] = {
            {"ed.pub", Scheme::EcdsaSha256, unfit},
            {"rsa.pub", Scheme::Ed25519, unfit},
            {"p256.pub", Scheme::RsaPssSha256, unfit},
            {"pss.pub", Scheme::RsaPkcs1Sha256, unfit},
            {"p256.pub", Scheme(99), unfit},
            {"weak.pub", Scheme::RsaPkcs1Sha256, weak},
            {"p256.pub", Scheme::EcdsaSha512, "true"},
            {"p256.pub", Scheme::EcdsaSha256, weak, 129},
            {"weak.pub", Scheme::RsaPssSha512, unfit, 80},
            {"weak.pub", Scheme::RsaPkcs1Sha256, "true", 80},
            {"even.pub", Scheme::RsaPssSha256, weak},
        };
        for (const auto& item : table) {
            const PublicKey key = PublicKey::fromPemFile(at(item.key));
            QCOMPARE(outcome([&] { return SignatureVerifier(key, item.scheme, item.bits), true; }),
                     QByteArray(item.expected));
        }
        QCOMPARE(outcome([] { return SignatureVerifier(PublicKey(), Scheme::Ed25519), true; }),
                 QByteArray("Public key expected"));
    }

    void servesSeveralThreads()
    {
        const auto signer = SignatureSigner::generate(Scheme::EcdsaSha256);
        const SignatureVerifier check(signer.publicKey(), Scheme::EcdsaSha256);
        const auto verify = [&] {
            QByteArray data = testBytes(3 << 20);
            QBuffer device(&data);
            return device.open(QIODevice::ReadOnly) && check.verify(&device, signer.sign(data));
        };
        std::vector<std::future<bool>> results(4);
        for (std::future<bool>& result : results)
            result = std::async(std::launch::async, verify);
        for (std::future<bool>& result : results)
            QVERIFY(result.get());
    }

private:
    QString at(const QByteArray& name) const { return m_folder.filePath(QLatin1String(name)); }
    SignatureVerifier verifier(const Case& item) const
    {
        return {PublicKey::fromPemFile(at(item.key + QByteArray(".pub"))), item.scheme};
    }

    TemporaryFolder m_folder;
    const QByteArray m_data = testBytes(10000);
};

QTEST_GUILESS_MAIN(SignatureVerifierTest)
#include "SignatureVerifierTest.moc"
