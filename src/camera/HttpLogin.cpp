// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/HttpLogin.h"

#include <QCryptographicHash>
#include <optional>

namespace vt::http {

namespace {

/// Reads a header from its beginning to its end.
class HeaderReader
{
public:
    explicit HeaderReader(const QByteArray& text) : m_text(text) {}
    [[nodiscard]] bool atEnd() const { return m_at >= m_text.size(); }
    [[nodiscard]] bool take(char wanted)
    {
        if (atEnd() || m_text.at(m_at) != wanted)
            return false;
        ++m_at;
        return true;
    }
    void skip(const char* characters)
    {
        while (!atEnd() && QByteArrayView(characters).contains(m_text.at(m_at)))
            ++m_at;
    }
    [[nodiscard]] QByteArray word()
    {
        const qsizetype begin = m_at;
        while (!atEnd() && !QByteArrayView(" \t,=\"").contains(m_text.at(m_at)))
            ++m_at;
        return m_text.mid(begin, m_at - begin);
    }
    /// What follows an opening quotation mark.
    [[nodiscard]] QByteArray quoted()
    {
        QByteArray value;
        while (!atEnd() && m_text.at(m_at) != '"') {
            if (m_text.at(m_at) == '\\' && m_at + 1 < m_text.size())
                ++m_at;
            value += m_text.at(m_at++);
        }
        (void)take('"');
        return value;
    }

private:
    const QByteArray m_text;
    qsizetype m_at = 0;
};

QByteArray quote(QByteArray value)
{
    return '"' + value.replace('\\', "\\\\").replace('"', "\\\"") + '"';
}

std::optional<QCryptographicHash::Algorithm> hashOf(const Challenge& challenge)
{
    const QByteArray name = challenge.parameters.value("algorithm", "MD5").toUpper();
    if (name == "MD5")
        return QCryptographicHash::Md5;
    if (name == "SHA-256")
        return QCryptographicHash::Sha256;
    return std::nullopt;
}

/// "auth", or empty for a server that knows no qualities yet; none when it wants another one.
std::optional<QByteArray> qualityOf(const Challenge& challenge)
{
    const QByteArray offered = challenge.parameters.value("qop");
    if (offered.isEmpty())
        return QByteArray();
    for (const QByteArray& each : offered.split(','))
        if (each.trimmed().toLower() == "auth")
            return QByteArray("auth");
    return std::nullopt;
}

QByteArray digest(const Challenge& challenge, const LoginRequest& request)
{
    const auto algorithm = hashOf(challenge);
    const auto quality = qualityOf(challenge);
    if (!algorithm || !quality || challenge.parameters.value("nonce").isEmpty())
        return {};
    const auto hash = [algorithm = *algorithm](const QByteArray& text) {
        return QCryptographicHash::hash(text, algorithm).toHex();
    };
    const QByteArray realm = challenge.parameters.value("realm");
    const QByteArray nonce = challenge.parameters.value("nonce");
    const QByteArray user = request.user.toUtf8();
    const QByteArray count = "00000001"; // a nonce is used once
    const QByteArray who = hash(user + ':' + realm + ':' + request.password.toUtf8());
    const QByteArray what = hash(request.method + ':' + request.target);
    const QByteArray use =
        quality->isEmpty() ? QByteArray() : ':' + count + ':' + request.clientNonce + ':' + *quality;
    QByteArray header = "Digest username=" + quote(user) + ", realm=" + quote(realm) +
                        ", nonce=" + quote(nonce) + ", uri=" + quote(request.target) + ", response=\"" +
                        hash(who + ':' + nonce + use + ':' + what) + '"';
    if (challenge.parameters.contains("algorithm"))
        header += ", algorithm=" + challenge.parameters.value("algorithm");
    if (challenge.parameters.contains("opaque"))
        header += ", opaque=" + quote(challenge.parameters.value("opaque"));
    if (!quality->isEmpty())
        header += ", qop=" + *quality + ", nc=" + count + ", cnonce=" + quote(request.clientNonce);
    return header;
}

} // namespace

std::vector<Challenge> challenges(const QByteArray& header)
{
    std::vector<Challenge> all;
    HeaderReader reader(header);
    while (!reader.atEnd()) {
        reader.skip(" \t,");
        const QByteArray name = reader.word().toLower();
        reader.skip(" \t");
        if (!reader.take('=')) {
            if (!name.isEmpty())
                all.push_back({name, {}});
            else
                reader.skip("\""); // belongs nowhere
            continue;
        }
        reader.skip(" \t");
        const QByteArray value = reader.take('"') ? reader.quoted() : reader.word();
        if (!all.empty() && !name.isEmpty())
            all.back().parameters.insert(name, value);
    }
    return all;
}

QByteArray authorization(const std::vector<Challenge>& challenges, const LoginRequest& request)
{
    for (const Challenge& challenge : challenges)
        if (challenge.scheme == "digest")
            if (QByteArray answer = digest(challenge, request); !answer.isEmpty())
                return answer;
    for (const Challenge& challenge : challenges)
        if (challenge.scheme == "basic")
            return "Basic " + (request.user + QLatin1Char(':') + request.password).toUtf8().toBase64();
    return {};
}

} // namespace vt::http
