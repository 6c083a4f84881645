#include "phone/request.h"

#include "phone/pages.h"

using namespace Qt::StringLiterals;

namespace phone {

Request parseRequest(const QByteArray &received)
{
    Request r;
    const qsizetype end = received.indexOf("\r\n\r\n");
    if (end < 0) {
        r.next = received.size() < kHeaderLimit ? Request::Next::Wait : Request::Next::Close;
        return r;
    }
    const QByteArrayView head(received.constData(), end);
    qint64 length = 0;
    for (qsizetype from = 0; from <= head.size();) {
        qsizetype lf = head.indexOf('\n', from);
        if (lf < 0)
            lf = head.size();
        const QByteArrayView line = head.sliced(from, lf - from).trimmed();
        from = lf + 1;
        if (line.startsWith("Content-Length:"))
            length = line.sliced(15).trimmed().toLongLong();
        else if (line.size() >= 7 && line.first(7).compare("cookie:", Qt::CaseInsensitive) == 0)
            r.cookie = QString::fromUtf8(line.sliced(7).trimmed());
    }
    const qsizetype bodyAt = end + 4;
    if (received.size() - bodyAt < length) {
        r.next = received.size() < kRequestLimit ? Request::Next::Wait : Request::Next::Close;
        return r;
    }
    r.next = Request::Next::Answer;
    r.post = head.startsWith("POST");
    r.body = received.sliced(bodyAt);
    return r;
}

QString formField(QByteArrayView body, QByteArrayView name)
{
    for (qsizetype from = 0; from <= body.size();) {
        qsizetype amp = body.indexOf('&', from);
        if (amp < 0)
            amp = body.size();
        const QByteArrayView field = body.sliced(from, amp - from);
        from = amp + 1;
        const qsizetype eq = field.indexOf('=');
        if ((eq < 0 ? field : field.first(eq)) != name)
            continue;
        if (eq < 0)
            return {};
        QByteArray value = field.sliced(eq + 1).toByteArray();
        value.replace('+', ' ');
        return QString::fromUtf8(QByteArray::fromPercentEncoding(value));
    }
    return {};
}

Access authorise(const Request &request, const QString &password, const QString &token)
{
    Access a;
    if (password.isEmpty() || token.isEmpty())
        return a; // a stopped or password-less server lets nobody in, by cookie or by form
    const QString wanted = "sc="_L1 + token;
    for (QStringView piece : QStringView(request.cookie).split(u';')) {
        if (piece.trimmed() == wanted) {
            a.authorised = true;
            return a;
        }
    }
    if (request.post) {
        a.authorised = formField(request.body, "p") == password;
        a.wrongPassword = !a.authorised;
    }
    return a;
}

QByteArray respond(const Request &request, const QString &password, const QString &token, const QByteArray &statusPage)
{
    const Access access = authorise(request, password, token);
    QByteArray out;
    const QByteArray &body = access.authorised ? statusPage : signInPageBytes(access.wrongPassword);
    out.reserve(body.size() + 400);
    if (access.authorised) {
        out += "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n";
        if (request.post)
            out += "Set-Cookie: sc=" + token.toLatin1() + "; Path=/; HttpOnly; SameSite=Strict\r\n";
    } else {
        out += "HTTP/1.1 401 Unauthorized\r\nContent-Type: text/html; charset=utf-8\r\n";
    }
    out += "Cache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\nConnection: close\r\nContent-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
    return out;
}

} // namespace phone
