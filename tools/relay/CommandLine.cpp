#include "CommandLine.h"

#include "CommandLineText.h"
#include "Schemes.h"

#include <QCoreApplication>
#include <QRegularExpression>

#include <limits>

namespace {

constexpr int longestFollowSeconds = 24 * 60 * 60;
constexpr qint64 leastMemory = 16 << 10;
constexpr qint64 mostMemory = qint64(1) << 40;

const QString signatureOption = QStringLiteral("signature");
const QString keyOption = QStringLiteral("key");
const QString signOption = QStringLiteral("sign");
const QString schemeOption = QStringLiteral("scheme");
const QString certificateOption = QStringLiteral("certificate");
const QString rootsOption = QStringLiteral("roots");
const QString pinOption = QStringLiteral("pin");
const QString passphraseOption = QStringLiteral("passphrase-file");
const QString saveOption = QStringLiteral("save");
const QString readersOption = QStringLiteral("readers");
const QString followOption = QStringLiteral("follow");
const QString rateOption = QStringLiteral("rate");
const QString memoryOption = QStringLiteral("memory");
const QString jsonOption = QStringLiteral("json");
const QString quietOption = QStringLiteral("quiet");

constexpr int lineLength = 79;

/** \a paragraphs in lines, with an empty line between two of them. */
QString wrapped(const QStringList& paragraphs)
{
    QStringList texts;
    for (const QString& paragraph : paragraphs) {
        QStringList lines{QString()};
        for (const QString& word : paragraph.split(QLatin1Char(' ')))
            if (lines.last().isEmpty())
                lines.last() = word;
            else if (lines.last().size() + word.size() < lineLength)
                lines.last() += QLatin1Char(' ') + word;
            else
                lines += word;
        texts += lines.join(QLatin1Char('\n'));
    }
    return texts.join(QStringLiteral("\n\n"));
}

} // namespace

CommandLine::CommandLine(const QStringList& arguments)
{
    declare();
    const bool parsed = m_parser.parse(arguments);
    if (m_parser.isSet(QStringLiteral("help")))
        m_information = m_parser.helpText();
    else if (m_parser.isSet(QStringLiteral("version")))
        m_information = QStringLiteral("%1 %2\n").arg(QCoreApplication::applicationName(),
                                                      QCoreApplication::applicationVersion());
    else if (!parsed)
        fail(m_parser.errorText().remove(QRegularExpression(QStringLiteral("\\.$"))));
    else
        check();
}

QString CommandLine::error() const
{
    return m_error;
}

QString CommandLine::information() const
{
    return m_information;
}

Options CommandLine::options() const
{
    return m_options;
}

void CommandLine::declare()
{
    QString status;
    for (const QString& text : CommandLineText::exitStatus())
        status += QStringLiteral("\n  %1  %2").arg(status.count(QLatin1Char('\n'))).arg(text);
    m_parser.setApplicationDescription(wrapped(CommandLineText::description())
                                       + QStringLiteral("\n\nExit status:") + status);
    m_parser.addPositionalArgument(QStringLiteral("INPUT"), CommandLineText::input());
    for (const CommandLineOption& option : CommandLineText::options()) {
        QStringList names = {option.name};
        if (!option.letter.isEmpty())
            names.prepend(option.letter);
        m_parser.addOption({names, option.description, option.placeholder, option.usualValue});
    }
}

void CommandLine::check()
{
    if (m_parser.positionalArguments().size() != 1)
        fail(QStringLiteral("one INPUT is needed, a file or - for standard input"));
    for (const QString& option :
         {signatureOption, keyOption, certificateOption, rootsOption, passphraseOption, saveOption})
        if (m_parser.isSet(option) && m_parser.value(option).isEmpty())
            fail(QStringLiteral("--%1 needs the name of a file").arg(option));
    checkSignatureOptions();
    readOptions();
    if (m_options.followMsecs > 0 && m_options.input == QLatin1String("-"))
        fail(QStringLiteral("--follow needs a file, not standard input"));
}

void CommandLine::checkSignatureOptions()
{
    const auto isSet = [this](const QString& option) { return m_parser.isSet(option); };
    const auto require = [&](const QString& option, const QString& other) {
        if (isSet(option) && !isSet(other))
            fail(QStringLiteral("--%1 needs --%2").arg(option, other));
    };
    if (isSet(keyOption) && isSet(certificateOption))
        fail(QStringLiteral("--key and --certificate are two ways to the key: give one"));
    if (isSet(signatureOption) && !isSet(keyOption) && !isSet(certificateOption))
        fail(QStringLiteral("--signature needs --key or --certificate"));
    for (const QString& option : {keyOption, certificateOption, schemeOption, signOption})
        require(option, signatureOption);
    require(certificateOption, rootsOption);
    require(rootsOption, certificateOption);
    require(pinOption, certificateOption);
    require(passphraseOption, signOption);
    require(signOption, keyOption);
    const QString scheme = m_parser.value(schemeOption);
    if (isSet(schemeOption) && !Schemes::names().contains(scheme))
        fail(QStringLiteral("--scheme takes one of ")
             + Schemes::names().join(QStringLiteral(", ")));
    if (isSet(signOption) && scheme == Schemes::sha1())
        fail(QStringLiteral("--sign makes no sha1 signatures, which protect no longer"));
    for (const QString& pin : m_parser.values(pinOption))
        if (!pin.contains(QRegularExpression(QStringLiteral("^[0-9A-Fa-f]{64}$"))))
            fail(QStringLiteral("--pin takes the 64 hexadecimal digits of a key's SHA-256"));
}

void CommandLine::readOptions()
{
    m_options.input = m_parser.positionalArguments().value(0);
    m_options.signatureFile = m_parser.value(signatureOption);
    m_options.keyFile = m_parser.value(keyOption);
    m_options.signs = m_parser.isSet(signOption);
    m_options.scheme = m_parser.value(schemeOption);
    m_options.certificateFile = m_parser.value(certificateOption);
    m_options.rootsFile = m_parser.value(rootsOption);
    for (const QString& pin : m_parser.values(pinOption))
        m_options.pins += QByteArray::fromHex(pin.toLatin1());
    m_options.passphraseFile = m_parser.value(passphraseOption);
    m_options.saveFile = m_parser.value(saveOption);
    m_options.json = m_parser.isSet(jsonOption);
    m_options.quiet = m_parser.isSet(quietOption);
    m_options.readers = int(number(readersOption, 0, CommandLineText::mostReaders));
    m_options.bytesPerSecond = number(rateOption, 1, std::numeric_limits<int>::max());
    readMemoryLimit();
    if (m_parser.isSet(followOption)) {
        bool isNumber = false;
        const double seconds = m_parser.value(followOption).toDouble(&isNumber);
        if (!isNumber || !(seconds >= 0.001 && seconds <= longestFollowSeconds))
            fail(QStringLiteral("--follow takes seconds, more than 0 and up to %1")
                     .arg(longestFollowSeconds));
        else
            m_options.followMsecs = int(seconds * 1000);
    }
}

void CommandLine::readMemoryLimit()
{
    const QString text = m_parser.value(memoryOption).toUpper();
    if (text == QLatin1String("ALL"))
        return;
    const QRegularExpression form(QStringLiteral("^([0-9]{1,13})([KMG]?)$"));
    const QRegularExpressionMatch match = form.match(text);
    const QString unit = match.captured(2);
    const int shift = unit.isEmpty() ? 0 : 10 * (1 + int(QStringLiteral("KMG").indexOf(unit)));
    const qint64 count = match.captured(1).toLongLong();
    if (count <= mostMemory >> shift && count << shift >= leastMemory)
        m_options.memoryLimit = count << shift;
    else
        fail(QStringLiteral("--memory takes a size from 16K to 1024G, or all"));
}

/** The first error is the one to tell. */
void CommandLine::fail(const QString& error)
{
    if (m_error.isEmpty())
        m_error = QStringLiteral("%1 (try '%2 --help')")
                      .arg(error, QCoreApplication::applicationName());
}

/** The whole number given with \a option, 0 when it was not given or is none. */
qint64 CommandLine::number(const QString& option, qint64 lowest, qint64 highest)
{
    if (!m_parser.isSet(option))
        return 0;
    bool isNumber = false;
    const qint64 value = m_parser.value(option).toLongLong(&isNumber);
    if (isNumber && value >= lowest && value <= highest)
        return value;
    fail(QStringLiteral("--%1 takes a number from %2 to %3").arg(option).arg(lowest).arg(highest));
    return 0;
}
