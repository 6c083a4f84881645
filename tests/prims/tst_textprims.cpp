// Badge, kpi, text label, log and image: the value-to-text rules, the label's own tone, the log's
// escaping and caps, the image decoding and sizing; and the input primitives: the date-time
// editor's format and range, and what "search" and "toggle" post through a recording callback.

#include "app/base/theme.h"
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
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTextDocument>
#include <QTextEdit>
#include <QVBoxLayout>

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

    // Values as text: any JSON value, a kpi's figure (on one line) and the tone of its delta.
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
        QTest::newRow("kpi eleven digits rounded") << u"kpi"_s << uR"("value":12345678901)"_s << u"1.23456789e+10"_s;
        QTest::newRow("kpi fraction rounded to ten")
            << u"kpi"_s << uR"("value":3.14159265358979)"_s << u"3.141592654"_s;
        QTest::newRow("delta minus") << u"delta"_s << uR"("delta":"-3")"_s << u"error"_s;
        QTest::newRow("delta_tone beats the sign")
            << u"delta"_s << uR"("delta":"-3","delta_tone":"warn")"_s << u"warn"_s;
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
        } else if (rule == u"kpi") {
            QCOMPARE(prims::kpiValueText(o), expected);
        } else {
            QCOMPARE(prims::kpiDeltaColor(o), theme::toneColor(expected));
        }
    }

    // No text, no badge; "outline" is a flag, so "no" takes the border away.
    void badge()
    {
        QWidget parent;
        QVERIFY(!prims::buildPrimitive(json(uR"({"type":"badge","tone":"ok"})"_s), {}, 0, &parent));
        auto *pill = testsupport::findLabel(
            prims::buildPrimitive(json(uR"({"type":"badge","text":"LIVE","outline":"no"})"_s), {}, 0, &parent),
            u"LIVE"_s);
        QVERIFY(pill && pill->styleSheet().contains(u"border:none;"_s));
    }

    // A text label keeps its tone under an application-wide sheet that colours every widget, and
    // builds no text document of QLabel's, however it is used: that is what keeps a screen of
    // hundreds of labels quick to draw.
    void labelToneAndWeight()
    {
        QWidget page;
        page.setStyleSheet(u"QWidget { color: #ff0000; background: #000000; }"_s);
        auto *box = new QVBoxLayout(&page);
        const QColor tone(u"#00ff00"_s);
        prims::TextLabel *label = prims::textLabel(u"WWW"_s, 24, tone, true, false, &page);
        box->addWidget(label);
        page.resize(200, 80);
        const QImage shot = page.grab().toImage().convertToFormat(QImage::Format_RGB32);
        int toned = 0, sheet = 0;
        for (int y = 0; y < shot.height(); ++y) {
            for (int x = 0; x < shot.width(); ++x) {
                toned += shot.pixel(x, y) == tone.rgb();
                sheet += QColor(shot.pixel(x, y)).red() > 0;
            }
        }
        QVERIFY(toned > 20 && sheet == 0);
        label->setText(u"another text"_s);
        label->select(0, 3);
        QVERIFY(!label->findChild<QTextDocument *>() && label->selection() == u"ano"_s);
        // Without a focus policy of its own, a press still gives it the keys that copy.
        page.show();
        page.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&page));
        QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(4, label->height() / 2));
        QTRY_VERIFY(label->hasFocus());
    }

    void logHtml_data()
    {
        QTest::addColumn<QString>("lines");
        QTest::addColumn<QStringList>("contains");
        QTest::addColumn<QString>("absent");
        const QString ink = theme::palette().ink.name();
        QTest::newRow("markup is literal")
            << uR"(["<b>a & b</b>"])"_s
            << QStringList{u"&lt;b&gt;a &amp; b&lt;/b&gt;"_s, u"<span style='color:%1'>"_s.arg(ink)} << u"<b>"_s;
        QTest::newRow("object line toned")
            << uR"([{"text":"E42 brake","tone":"error"}])"_s
            << QStringList{u"<span style='color:%1'>E42 brake</span><br>"_s.arg(theme::toneColor(u"error"_s).name())}
            << QString();
        QTest::newRow("empty shows nothing yet")
            << u"[]"_s
            << QStringList{u"<span style='color:%1'><i>(nothing yet)</i></span>"_s.arg(theme::palette().dim.name())}
            << u"<div"_s;
    }
    void logHtml()
    {
        QFETCH(QString, lines);
        QFETCH(QStringList, contains);
        QFETCH(QString, absent);
        const QString html = prims::logHtml(json(u"{\"v\":"_s + lines + u"}"_s).value("v"_L1).toArray(), false);
        for (const QString &part : contains)
            QVERIFY2(html.contains(part), qPrintable(html));
        QVERIFY2(absent.isEmpty() || !html.contains(absent), qPrintable(html));
    }

    // The first 5000 lines show, as plain text, in a block of at least 40 pixels scrolled to its end.
    void logWidget()
    {
        QJsonArray lines;
        for (int i = 0; i < 6000; ++i)
            lines.append(u"line %1 <x>"_s.arg(i, 4, 10, QLatin1Char('0')));
        QWidget parent;
        auto *view = qobject_cast<QTextEdit *>(prims::buildPrimitive(
            QJsonObject{{u"type"_s, u"log"_s}, {u"lines"_s, lines}, {u"height"_s, 10}}, {}, 0, &parent));
        QVERIFY(view && view->isReadOnly() && view->height() == 40 && view->textCursor().atEnd());
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
        QTest::newRow("empty") << QString() << QSize();
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
        QTest::newRow("own size") << QSize(200, 100) << u"{}"_s << QSize(200, 100);
        QTest::newRow("3000 wide is 1600") << QSize(3000, 300) << u"{}"_s << QSize(1600, 160);
        QTest::newRow("box keeps shape") << QSize(200, 100) << uR"({"width":100,"height":100})"_s << QSize(100, 50);
        QTest::newRow("box of 1600 grows it")
            << QSize(200, 100) << uR"({"width":5000,"height":5000})"_s << QSize(1600, 800);
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

    // Bad data shows a dashed "(no image)" box; a wide picture is capped at 1600 pixels; "fit"
    // "width" scales it to the layout's width; the caption goes underneath.
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
        auto *capped = image(png, {}, {})->findChild<QLabel *>(u"image"_s);
        QVERIFY(capped && capped->size() == QSize(1600, 16));

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
        QTest::addColumn<bool>("withPress");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("body");
        QTest::newRow("id is the key") << uR"({"id":"sku","submit":{"path":"/api/find"}})"_s << true << u"/api/find"_s
                                       << uR"({"sku":"KS-300 lift"})"_s;
        QTest::newRow("body kept, same key overwritten")
            << uR"({"id":"q","submit":{"path":"/p","body":{"q":"old","scope":"aisle","n":5}}})"_s << true << u"/p"_s
            << uR"({"q":"KS-300 lift","scope":"aisle","n":5})"_s;
        QTest::newRow("no submit never posts") << uR"({"id":"sku"})"_s << true << QString() << QString();
        QTest::newRow("no press callback") << uR"({"submit":{"path":"/p"}})"_s << false << QString() << QString();
    }
    void search()
    {
        QFETCH(QString, keys);
        QFETCH(bool, withPress);
        QFETCH(QString, path);
        QFETCH(QString, body);
        QList<Posted> posts;
        QWidget parent;
        auto *box = build<QLineEdit>(u"search"_s, keys, &parent, withPress ? &posts : nullptr);
        QCOMPARE(box->placeholderText(), u"Search"_s);
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
