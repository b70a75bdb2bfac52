// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/HttpLogin.h"

#include <gmock/gmock.h>

using namespace vt::http;
using namespace Qt::StringLiterals;

namespace {

QByteArray answer(const QByteArray& header)
{
    return authorization(challenges(header), {"GET", "/dir/index.html", u"Mufasa"_s, u"Circle of Life"_s,
                                              "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ"});
}

} // namespace

TEST(HttpLogin, AnswersAsTheStandardsSay)
{
    // The examples of RFC 7616, 3.9.1: a server that offers SHA-256 and MD5.
    const QByteArray begin = "Digest realm=\"http-auth@example.org\", qop=\"auth, auth-int\", algorithm=";
    const QByteArray end = ", nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", "
                           "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\"";
    const auto expected = [](const QByteArray& response, const QByteArray& algorithm) {
        return "Digest username=\"Mufasa\", realm=\"http-auth@example.org\", "
               "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", uri=\"/dir/index.html\", "
               "response=\"" +
               response + "\", algorithm=" + algorithm +
               ", opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\", qop=auth, nc=00000001, "
               "cnonce=\"f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ\"";
    };
    const QByteArray md5 = expected("8ca523f5e9506fed4657c9700eebdbec", "MD5");
    const QByteArray sha256 =
        expected("753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1", "SHA-256");
    EXPECT_EQ(answer(begin + "MD5" + end), md5);
    EXPECT_EQ(answer(begin + "SHA-256" + end + ", " + begin + "MD5" + end), sha256);
    // What cannot be answered is passed over, and digest goes before basic.
    EXPECT_EQ(answer(R"(Basic realm="a, b=\"c\"", Negotiate TlRM==,)" + begin + "SHA-512-256" + end + "," +
                     begin + "MD5" + end),
              md5);
    EXPECT_EQ(answer("bASIC realm=x"), "Basic TXVmYXNhOkNpcmNsZSBvZiBMaWZl");
    EXPECT_EQ(answer(R"(Digest realm="r", nonce="n", qop="auth-int")"), "");
    EXPECT_EQ(answer("Digest realm=\"r\""), "");
    // Before qop there was no nonce of the client: MD5(MD5(user:r:password):n:MD5(GET:/dir/index.html)).
    EXPECT_EQ(answer(R"(Digest realm="r",nonce="n")"),
              "Digest username=\"Mufasa\", realm=\"r\", nonce=\"n\", uri=\"/dir/index.html\", "
              "response=\"0bab5c24c08a1ef94a6cc3d446ce558a\"");
}

TEST(HttpLogin, ReadsWhateverItIsGiven)
{
    const QByteArray odd = "=,\"x\" Digest =\"=\\\",nonce , Basic==\t\",\\\"";
    for (qsizetype begin = 0; begin < odd.size(); ++begin)
        for (qsizetype length = 0; length <= odd.size() - begin; ++length)
            for (const Challenge& each : challenges(odd.mid(begin, length)))
                EXPECT_FALSE(each.scheme.isEmpty());
}
