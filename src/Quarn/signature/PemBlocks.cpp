#include <Quarn/signature/PemBlocks_p.h>

#include <Quarn/signature/Wiped_p.h>

#include <algorithm>

namespace kel {
namespace {

const char dashes[] = "-----";

} // namespace

bool PemBlocks::next()
{
    const QByteArray begin = QByteArrayLiteral("-----BEGIN ");
    Size at = m_end;
    do {
        at = m_text.indexOf(begin, at);
        if (at < 0)
            return false;
        at += begin.size();
    } while (at > begin.size() && m_text.at(at - begin.size() - 1) != '\n');

    m_begin = m_text.indexOf('\n', at);
    const QByteArray line = m_text.mid(at, m_begin - at).trimmed();
    if (m_begin < 0 || !line.endsWith(dashes))
        throw Damaged();
    m_label = line.left(line.size() - 5);
    const QByteArray end = "\n-----END " + m_label + dashes;
    m_end = m_text.indexOf(end, m_begin);
    if (m_end < 0)
        throw Damaged();
    separateHeader();
    return true;
}

/** The header ends at the first empty line. */
void PemBlocks::separateHeader()
{
    m_header.clear();
    const char* const text = m_text.constData();
    if (std::find(text + m_begin, text + m_end, ':') == text + m_end)
        return;
    Size line = m_begin + 1;
    Size lineEnd = m_text.indexOf('\n', line);
    while (lineEnd < m_end && !m_text.mid(line, lineEnd - line).trimmed().isEmpty()) {
        line = lineEnd + 1;
        lineEnd = m_text.indexOf('\n', line);
    }
    if (lineEnd >= m_end)
        throw Damaged();
    m_header = m_text.mid(m_begin + 1, line - m_begin - 1).replace("\r\n", "\n");
    m_begin = lineEnd;
}

QByteArray PemBlocks::contents() const
{
    const auto* const begin = m_text.constData() + m_begin;
    const auto* const end = m_text.constData() + m_end;
    QByteArray digits(m_end - m_begin, Qt::Uninitialized);
    const Wiped wiped(digits);
    char* const last = std::copy_if(begin, end, digits.data(), [](char character) {
        return character != '\n' && character != '\r' && character != ' ' && character != '\t';
    });
    digits.truncate(Size(last - digits.data()));
    auto decoded = QByteArray::fromBase64Encoding(static_cast<const QByteArray&>(digits),
                                                  QByteArray::Base64Encoding
                                                      | QByteArray::AbortOnBase64DecodingErrors);
    if (decoded.decodingStatus != QByteArray::Base64DecodingStatus::Ok || decoded.decoded.isEmpty())
        throw Damaged();
    return std::move(decoded.decoded);
}

} // namespace kel
