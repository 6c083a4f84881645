// Kpi, log and image: the value-to-text rules, the log's escaping and caps, the image decoding and sizing; and the
// input primitives: the date-time editor's format and range, and what "search" and "toggle" post through a recording
// callback.

#include "prims/datetime.h"
#include "prims/field.h"
#include "prims/image.h"
#include "prims/imagedata.h"
#include "prims/kpi.h"
#include "prims/log.h"
#include "prims/registry.h"
#include "prims/search.h"
#include "prims/text.h"
#include "prims/toggle.h"
#include "support/widgets.h"

#include <QBuffer>
#include <QDateTimeEdit>
#include <QJsonArray>
#include <QLineEdit>
#include <QTest>
#include <QTextEdit>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;
using testsupport::Posted;

QString pngBase64(QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return QString::fromLatin1(bytes.toBase64());
}

// The element `keys` given the type, built with a press callback that records every post (or none).
template<typename T> T *build(const QString &type, const QString &keys, QWidget *parent, QList<Posted> *posts = nullptr)
{
    QJsonObject el = json(keys);
    el.insert(u"type"_s, type);
    return qobject_cast<T *>(prims::buildPrimitive(el, testsupport::recording(posts), 0, parent));
}

} // namespace

class TestTextPrims final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // Values as text: any JSON value and a kpi's figure (on one line).
    void valueTexts_data()
    {
        QTest::addColumn<QString>("rule");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("expected");
        QTest::newRow("1e15 is general") << u"value"_s << uR"("v":1e15)"_s << u"1e+15"_s;
        QTest::newRow("true") << u"value"_s << uR"("v":true)"_s << u"yes"_s;
        QTest::newRow("array") << u"value"_s << uR"("v":[1,2])"_s << u"..."_s;
        QTest::newRow("null") << u"value"_s << uR"("v":null)"_s << QString();
        QTest::newRow("kpi text as it stands") << u"kpi"_s << uR"("value":"1,204 ")"_s << u"1,204 "_s;
        QTest::newRow("kpi fraction rounded to ten")
            << u"kpi"_s << uR"("value":3.14159265358979)"_s << u"3.141592654"_s;
    }
    void valueTexts()
    {
        QFETCH(QString, rule);
        QFETCH(QString, keys);
        QFETCH(QString, expected);
        const QJsonObject o = json(u"{%1}"_s.arg(keys));
        if (rule == u"value") {
            QCOMPARE(prims::valueText(o.value("v"_L1)), expected);
            QCOMPARE(prims::valueText(o, "v"_L1), expected);
        } else {
            QCOMPARE(prims::kpiValueText(o), expected);
        }
    }

    // A unit's markup in a log line is shown literally, plain or in an object line.
    void logHtmlEscapes()
    {
        const QString html = prims::logHtml(
            json(uR"({"v":["<b>a & b</b>",{"text":"<i>E42</i>","tone":"error"}]})"_s).value("v"_L1).toArray(), false);
        QVERIFY2(html.contains(u"&lt;b&gt;a &amp; b&lt;/b&gt;"_s) && html.contains(u"&lt;i&gt;E42"_s),
                 qPrintable(html));
        QVERIFY2(!html.contains(u"<b>"_s) && !html.contains(u"<i>E42"_s), qPrintable(html));
    }

    // The first 5000 lines show, as plain text, scrolled to the end.
    void logWidget()
    {
        QJsonArray lines;
        for (int i = 0; i < 6000; ++i)
            lines.append(u"line %1 <x>"_s.arg(i, 4, 10, QLatin1Char('0')));
        QWidget parent;
        auto *view = qobject_cast<QTextEdit *>(prims::buildPrimitive(
            QJsonObject{{u"type"_s, u"log"_s}, {u"lines"_s, lines}, {u"height"_s, 10}}, {}, 0, &parent));
        QVERIFY(view && view->isReadOnly() && view->textCursor().atEnd());
        const QString text = view->toPlainText();
        QVERIFY(text.startsWith(u"line 0000 <x>"_s) && text.contains(u"line 4999 <x>"_s));
        QVERIFY(!text.contains(u"line 5000"_s));
    }

    void decode_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QSize>("size");
        const QString png = pngBase64(QSize(7, 3));
        QTest::newRow("plain base64") << png << QSize(7, 3);
        QTest::newRow("only after the first comma") << u"data:x,"_s + png + u",x"_s << QSize();
        QTest::newRow("invalid character") << png.left(8) + u'!' + png.mid(8) << QSize();
    }
    void decode()
    {
        QFETCH(QString, data);
        QFETCH(QSize, size);
        const QImage image = prims::decodeImageData(data);
        QCOMPARE(image.isNull(), !size.isValid());
        QCOMPARE(image.size(), size.isValid() ? size : QSize(0, 0));
    }

    void sizedImage_data()
    {
        QTest::addColumn<QSize>("source");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QSize>("shown");
        QTest::newRow("3000 wide is 1600") << QSize(3000, 300) << u"{}"_s << QSize(1600, 160);
        QTest::newRow("box keeps shape") << QSize(200, 100) << uR"({"width":100,"height":100})"_s << QSize(100, 50);
    }
    void sizedImage()
    {
        QFETCH(QSize, source);
        QFETCH(QString, keys);
        QFETCH(QSize, shown);
        QImage image(source, QImage::Format_RGB32);
        image.fill(Qt::red);
        QCOMPARE(prims::sizedImage(image, json(keys)).size(), shown);
    }

    // Bad data shows a "(no image)" box with the caption underneath; "fit" "width" scales a picture
    // to the layout's width.
    void imageWidget()
    {
        QWidget parent;
        auto image = [&parent](const QString &data, const QString &fit, const QString &caption) {
            const QJsonObject el{{u"type"_s, u"image"_s}, {u"data"_s, data}, {u"fit"_s, fit}, {u"caption"_s, caption}};
            return prims::buildPrimitive(el, {}, 0, &parent);
        };
        QCOMPARE(testsupport::labelTexts(image(u"not base64!"_s, {}, u"Rack photo"_s)),
                 (QStringList{u"(no image)"_s, u"Rack photo"_s}));

        const QString png = pngBase64(QSize(3000, 30));
        QWidget *fitted = image(png, u"width"_s, {});
        auto *fit = fitted->findChild<prims::FitWidthImage *>(u"image"_s);
        QVERIFY(fit && fit->heightForWidth(300) == 3 && fit->minimumSizeHint().width() == 1);
    }

    // What the editor shows: "format|value|min|max", "-" for the editor's own bound.
    void dateTime_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("shown");
        QTest::newRow("date mode") << uR"({"mode":"date","value":"2026-03-14T09:30:00"})"_s
                                   << u"yyyy-MM-dd|2026-03-14T09:30:00|-|-"_s;
        QTest::newRow("value below min is raised")
            << uR"({"value":"2026-02-01T00:00:00","min":"2026-03-01T00:00:00"})"_s
            << u"yyyy-MM-dd HH:mm:ss|2026-03-01T00:00:00|2026-03-01T00:00:00|-"_s;
        QTest::newRow("max before min ignored")
            << uR"({"value":"2026-03-14T09:30:00","min":"2026-03-01T00:00:00","max":"2026-02-01T00:00:00"})"_s
            << u"yyyy-MM-dd HH:mm:ss|2026-03-14T09:30:00|2026-03-01T00:00:00|-"_s;
    }
    void dateTime()
    {
        QFETCH(QString, keys);
        QFETCH(QString, shown);
        QWidget parent;
        auto *edit = build<QDateTimeEdit>(u"datetime"_s, keys, &parent);
        const QDateTimeEdit reference;
        const auto bound = [](const QDateTime &t, const QDateTime &own) {
            return t == own ? u"-"_s : t.toString(Qt::ISODate);
        };
        QCOMPARE((QStringList{edit->displayFormat(), edit->dateTime().toString(Qt::ISODate),
                              bound(edit->minimumDateTime(), reference.minimumDateTime()),
                              bound(edit->maximumDateTime(), reference.maximumDateTime())})
                     .join(u'|'),
                 shown);
    }

    // An unreadable value starts at the current date and time (compared loosely: the clock moves).
    void dateTimeInvalidValue()
    {
        for (const QString &keys : {u"{}"_s, uR"({"value":20260314})"_s, uR"({"value":"2026-02-30T10:00:00"})"_s}) {
            QWidget parent;
            const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
            auto *edit = build<QDateTimeEdit>(u"datetime"_s, keys, &parent);
            const QDateTime after = QDateTime::currentDateTime().addSecs(1);
            QVERIFY2(edit, qPrintable(keys));
            QVERIFY2(edit->dateTime() >= before && edit->dateTime() <= after, qPrintable(keys));
        }
    }

    // Return posts the submit body with the text under the id (or "query"); no path, no post.
    void search_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("body");
        QTest::newRow("id is the key") << uR"({"id":"sku","submit":{"path":"/api/find"}})"_s << u"/api/find"_s
                                       << uR"({"sku":"KS-300 lift"})"_s;
        QTest::newRow("body kept, same key overwritten")
            << uR"({"id":"q","submit":{"path":"/p","body":{"q":"old","scope":"aisle","n":5}}})"_s << u"/p"_s
            << uR"({"q":"KS-300 lift","scope":"aisle","n":5})"_s;
        QTest::newRow("no submit never posts") << uR"({"id":"sku"})"_s << QString() << QString();
    }
    void search()
    {
        QFETCH(QString, keys);
        QFETCH(QString, path);
        QFETCH(QString, body);
        QList<Posted> posts;
        QWidget parent;
        auto *box = build<QLineEdit>(u"search"_s, keys, &parent, &posts);
        testsupport::layOut(&parent, 300);
        box->setFocus();
        box->end(false);
        QTest::keyClicks(box, u"KS-300 lift"_s);
        QCOMPARE(posts.size(), 0);
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(posts, (path.isEmpty() ? QList<Posted>() : QList<Posted>{{path, json(body)}}));
    }

    // Every flip posts the click body with "value" set to the new state, a body without a path too;
    // two clicks flip back. Without a press callback it flips all the same.
    void toggle()
    {
        QList<Posted> posts;
        QWidget parent;
        auto *sw = build<prims::Switch>(u"toggle"_s, uR"({"click":{"body":{"k":1}}})"_s, &parent, &posts);
        auto *silent = build<prims::Switch>(u"toggle"_s, uR"({"click":{"path":"/p"}})"_s, &parent);
        testsupport::layOut(&parent, 200);
        QVERIFY(!sw->isChecked());
        for (prims::Switch *s : {sw, sw, silent})
            QTest::mouseClick(s, Qt::LeftButton, {}, s->rect().center());
        QVERIFY(!sw->isChecked() && silent->isChecked());
        QCOMPARE(posts, (QList<Posted>{{QString(), json(uR"({"k":1,"value":true})"_s)},
                                       {QString(), json(uR"({"k":1,"value":false})"_s)}}));
    }
};

QTEST_MAIN(TestTextPrims)
#include "tst_textprims.moc"
