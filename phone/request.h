#pragma once
// The phone page's request handling as pure functions of the bytes a connection has sent so far:
// whether to wait for more, close without a word, or answer; who may see the status page; and the
// exact bytes of the answer. The socket code (phone.h) only feeds bytes in and writes bytes out.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace phone {

// Headers this long without their blank line end the connection silently.
inline constexpr qsizetype kHeaderLimit = 16385;
// A request still incomplete at this size (a body claimed larger than a password form could
// ever be) is closed too, so that one client cannot grow a buffer without end.
inline constexpr qsizetype kRequestLimit = 1 << 20;

struct Request
{
    enum class Next { Wait, Close, Answer };
    Next next = Next::Wait;
    bool post = false;
    QString cookie;  // the last Cookie header's value, trimmed
    QByteArray body; // everything after the blank line
};

// What to do with the bytes received on one connection so far.
Request parseRequest(const QByteArray &received);

struct Access
{
    bool authorised = false;
    bool wrongPassword = false; // a POST whose "p" did not match
};

// Authorised by the "sc" cookie holding the token, or, on a POST, by the form field "p".
Access authorise(const Request &request, const QString &password, const QString &token);

// The value of form field `name` in an application/x-www-form-urlencoded body, decoded ("+" is a
// space); the first field of that name, or empty.
QString formField(QByteArrayView body, QByteArrayView name);

// The whole answer for a complete request: status line, headers and the page. `statusPage` is
// the status page's UTF-8 bytes, built once per unit list by the caller.
QByteArray respond(const Request &request, const QString &password, const QString &token, const QByteArray &statusPage);

} // namespace phone
