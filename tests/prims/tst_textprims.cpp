// Badge, kpi, keyvalue, log and image: the value-to-text rules, the grid placement, the log's
// escaping and caps, and the image decoding and sizing.

#include "app/base/theme.h"
#include "prims/image.h"
#include "prims/imagedata.h"
#include "prims/kpi.h"
#include "prims/log.h"
#include "prims/registry.h"
#include "prims/text.h"
#include "support/widgets.h"

#include <QBuffer>
#include <QGridLayout>
#include <QJsonArray>
#include <QLabel>
#include <QTest>
#include <QTextDocument>
#include <QTextEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;

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

// A kpi tile from `keys` (the inside of a JSON object, without "type").
QWidget *kpi(const QString &keys, QWidget *parent)
{
    return prims::buildPrimitive(json(u"{\"type\":\"kpi\"%1}"_s.arg(keys.isEmpty() ? keys : u',' + keys)), {}, 0,
                                 parent);
}

} // namespace

class TestTextPrims final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void valueText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("string") << u"\"12 kg\""_s << u"12 kg"_s;
        QTest::newRow("whole double") << u"3.0"_s << u"3"_s;
        QTest::newRow("just below 1e15") << u"999999999999999"_s << u"999999999999999"_s;
        QTest::newRow("1e15 is general") << u"1e15"_s << u"1e+15"_s;
        QTest::newRow("fraction") << u"0.1"_s << u"0.1"_s;
        QTest::newRow("six digits") << u"3.14159265"_s << u"3.14159"_s;
        QTest::newRow("large fraction") << u"1234567.5"_s << u"1.23457e+06"_s;
        QTest::newRow("true") << u"true"_s << u"yes"_s;
        QTest::newRow("array") << u"[1,2]"_s << u"..."_s;
        QTest::newRow("null") << u"null"_s << QString();
    }
    void valueText()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const QJsonObject o = json(u"{\"v\":"_s + text + u"}"_s);
        QCOMPARE(prims::valueText(o.value("v"_L1)), expected);
        QCOMPARE(prims::valueText(o, "v"_L1), expected);
    }

    // The figure is shown as kpiValueText gives it, on one line.
    void kpiValue_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("expected");
        QTest::newRow("missing") << QString() << u"-"_s;
        QTest::newRow("empty text") << uR"("value":"")"_s << u"-"_s;
        QTest::newRow("object") << uR"("value":{})"_s << u"-"_s;
        QTest::newRow("text as it stands") << uR"("value":"1,204 ")"_s << u"1,204 "_s;
        QTest::newRow("flag as its word") << uR"("value":true)"_s << u"true"_s;
        QTest::newRow("whole double") << uR"("value":3.0)"_s << u"3"_s;
        QTest::newRow("ten digits kept") << uR"("value":1234567890)"_s << u"1234567890"_s;
        QTest::newRow("eleven digits rounded") << uR"("value":12345678901)"_s << u"1.23456789e+10"_s;
        QTest::newRow("fraction rounded to ten") << uR"("value":3.14159265358979)"_s << u"3.141592654"_s;
        QTest::newRow("trailing zeros dropped") << uR"("value":1.23456789012)"_s << u"1.23456789"_s;
    }
    void kpiValue()
    {
        QFETCH(QString, keys);
        QFETCH(QString, expected);
        QCOMPARE(prims::kpiValueText(json(u"{%1}"_s.arg(keys))), expected);
        QWidget parent;
        QWidget *tile = kpi(keys, &parent);
        QVERIFY(tile);
        auto *value = tile->findChild<QLabel *>(u"kpiValue"_s);
        QVERIFY(value);
        QCOMPARE(value->text(), expected);
        QVERIFY(!value->wordWrap());
    }

    void kpiDelta_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("tone");
        QTest::newRow("minus") << uR"("delta":"-3")"_s << u"error"_s;
        QTest::newRow("plain") << uR"("delta":"3")"_s << u"muted"_s;
        QTest::newRow("delta_tone beats the sign") << uR"("delta":"-3","delta_tone":"warn")"_s << u"warn"_s;
        QTest::newRow("empty delta_tone ignored") << uR"("delta":"-3","delta_tone":"")"_s << u"error"_s;
    }
    void kpiDelta()
    {
        QFETCH(QString, keys);
        QFETCH(QString, tone);
        QCOMPARE(prims::kpiDeltaColor(json(u"{%1}"_s.arg(keys))), theme::toneColor(tone));
        QWidget parent;
        auto *pill = kpi(keys, &parent)->findChild<QLabel *>(u"kpiDelta"_s);
        QVERIFY(pill);
        QVERIFY(pill->styleSheet().contains(u"border:1px solid "_s + theme::toneColor(tone).name()));
    }

    void kpiSizes_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QList<int>>("points"); // value, unit, delta
        QTest::newRow("100 is 64") << 100 << QList<int>{64, 32, 24};
        QTest::newRow("small unit is 8") << 12 << QList<int>{12, 8, 7};
        QTest::newRow("below 10 is 10") << 2 << QList<int>{10, 8, 7};
    }
    void kpiSizes()
    {
        QFETCH(int, size);
        QFETCH(QList<int>, points);
        QWidget parent;
        QWidget *tile = kpi(u"\"value\":5,\"unit\":\"m\",\"delta\":\"+1\",\"size\":%1"_s.arg(size), &parent);
        const QStringList names{u"kpiValue"_s, u"kpiUnit"_s, u"kpiDelta"_s};
        for (int i = 0; i < 3; ++i)
            QCOMPARE(tile->findChild<QLabel *>(names.at(i))->font().pointSize(),
                     theme::uiFont(points.at(i)).pointSize());
    }

    // No text, no badge; "outline" is a flag, so "no" takes the border away.
    void badge()
    {
        QWidget parent;
        QVERIFY(!prims::buildPrimitive(json(uR"({"type":"badge","tone":"ok"})"_s), {}, 0, &parent));
        QWidget *row =
            prims::buildPrimitive(json(uR"({"type":"badge","text":"LIVE","outline":"no"})"_s), {}, 0, &parent);
        QVERIFY(row);
        auto *pill = row->findChild<QLabel *>();
        QVERIFY(pill);
        QCOMPARE(pill->text(), u"LIVE"_s);
        QVERIFY2(pill->styleSheet().contains(u"border:none;"_s), qPrintable(pill->styleSheet()));
        QVERIFY(pill->styleSheet().contains(u"background:"_s + theme::palette().grey.name()));
    }

    // Items fill the grid row by row; each column is a label and a value, the value stretching.
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
        QVERIFY(toned > 20);
        QCOMPARE(sheet, 0);
        label->setText(u"another text"_s);
        label->select(0, 3);
        QVERIFY(!label->findChild<QTextDocument *>());
        QCOMPARE(label->selection(), u"ano"_s);
        // Without a focus policy of its own, a press still gives it the keys that copy.
        page.show();
        page.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&page));
        QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(4, label->height() / 2));
        QTRY_VERIFY(label->hasFocus());
    }

    void keyvalueGrid_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("items");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("lastColumn");
        QTest::newRow("three columns five items") << 3 << 5 << 2 << 1;
        QTest::newRow("six full columns") << 6 << 12 << 2 << 5;
        QTest::newRow("zero is one") << 0 << 2 << 2 << 0;
    }
    void keyvalueGrid()
    {
        QFETCH(int, columns);
        QFETCH(int, items);
        QFETCH(int, rows);
        QFETCH(int, lastColumn);
        QJsonArray list;
        for (int i = 0; i < items; ++i)
            list.append(QJsonObject{{u"label"_s, u"L%1"_s.arg(i)}, {u"value"_s, i}});
        QWidget parent;
        QWidget *box = prims::buildPrimitive(
            QJsonObject{{u"type"_s, u"keyvalue"_s}, {u"columns"_s, columns}, {u"items"_s, list}}, {}, 0, &parent);
        QVERIFY(box);
        auto *grid = qobject_cast<QGridLayout *>(box->layout());
        QVERIFY(grid);
        QCOMPARE(grid->rowCount(), rows);
        // Where the last item's label and value sit, as (column, row).
        auto cellOf = [&](const QString &text) {
            for (QLabel *label : box->findChildren<QLabel *>()) {
                int r = -1, c = -1, rs = 0, cs = 0;
                if (label->text() == text)
                    grid->getItemPosition(grid->indexOf(label), &r, &c, &rs, &cs);
                if (r >= 0)
                    return QPoint(c, r);
            }
            return QPoint(-1, -1);
        };
        QCOMPARE(cellOf(u"L%1"_s.arg(items - 1)), QPoint(2 * lastColumn, rows - 1));
        QCOMPARE(cellOf(QString::number(items - 1)), QPoint(2 * lastColumn + 1, rows - 1));
        QCOMPARE(grid->columnStretch(2 * lastColumn + 1), 1);
        QCOMPARE(grid->columnStretch(2 * lastColumn), 0);
    }

    void logHtml_data()
    {
        QTest::addColumn<QString>("lines");
        QTest::addColumn<bool>("wrap");
        QTest::addColumn<QStringList>("contains");
        QTest::addColumn<QString>("absent");
        const QString ink = theme::palette().ink.name();
        QTest::newRow("markup is literal")
            << uR"(["<b>a & b</b>"])"_s << false
            << QStringList{u"&lt;b&gt;a &amp; b&lt;/b&gt;"_s, u"<span style='color:%1'>"_s.arg(ink)} << u"<b>"_s;
        QTest::newRow("runs of spaces kept, pre")
            << uR"(["a    b"])"_s << false << QStringList{u"white-space:pre'"_s, u"a    b"_s} << QString();
        QTest::newRow("wrap uses pre-wrap")
            << uR"(["a    b"])"_s << true << QStringList{u"white-space:pre-wrap'"_s, u"a    b"_s} << QString();
        QTest::newRow("object line toned")
            << uR"([{"text":"E42 brake","tone":"error"}])"_s << false
            << QStringList{u"<span style='color:%1'>E42 brake</span><br>"_s.arg(theme::toneColor(u"error"_s).name())}
            << QString();
        QTest::newRow("object line body by default")
            << uR"([{"text":"ok"}])"_s << false
            << QStringList{u"<span style='color:%1'>ok</span>"_s.arg(theme::toneColor(u"body"_s).name())} << QString();
        QTest::newRow("empty shows nothing yet")
            << u"[]"_s << false
            << QStringList{u"<span style='color:%1'><i>(nothing yet)</i></span>"_s.arg(theme::palette().dim.name())}
            << u"<div"_s;
    }
    void logHtml()
    {
        QFETCH(QString, lines);
        QFETCH(bool, wrap);
        QFETCH(QStringList, contains);
        QFETCH(QString, absent);
        const QString html = prims::logHtml(json(u"{\"v\":"_s + lines + u"}"_s).value("v"_L1).toArray(), wrap);
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
        QVERIFY(view);
        QVERIFY(view->isReadOnly());
        QCOMPARE(view->height(), 40);
        QCOMPARE(view->lineWrapMode(), QTextEdit::NoWrap);
        const QString text = view->toPlainText();
        QVERIFY(text.startsWith(u"line 0000 <x>"_s));
        QVERIFY(text.contains(u"line 4999 <x>"_s));
        QVERIFY(!text.contains(u"line 5000"_s));
        QVERIFY(view->textCursor().atEnd());
    }

    void decode_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QSize>("size");
        const QString png = pngBase64(QSize(7, 3));
        QTest::newRow("plain base64") << png << QSize(7, 3);
        QTest::newRow("data url") << u"data:image/png;base64,"_s + png << QSize(7, 3);
        QTest::newRow("only after the first comma") << u"data:x,"_s + png + u",x"_s << QSize();
        QTest::newRow("data without comma") << u"data:image/png;base64"_s << QSize();
        QTest::newRow("space inside") << png.left(8) + u' ' + png.mid(8) << QSize();
        QTest::newRow("invalid character") << png.left(8) + u'!' + png.mid(8) << QSize();
        QTest::newRow("non-ascii character") << png.left(8) + u'é' + png.mid(8) << QSize();
        QTest::newRow("not a picture") << u"aGVsbG8gd29ybGQ="_s << QSize();
        QTest::newRow("truncated picture") << png.left(40) << QSize();
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
        QTest::newRow("width only") << QSize(200, 100) << uR"({"width":100})"_s << QSize(100, 50);
        QTest::newRow("height only") << QSize(200, 100) << uR"({"height":50})"_s << QSize(100, 50);
        QTest::newRow("box keeps shape") << QSize(200, 100) << uR"({"width":100,"height":100})"_s << QSize(100, 50);
        QTest::newRow("stretch fills") << QSize(200, 100) << uR"({"width":100,"height":100,"fit":"stretch"})"_s
                                       << QSize(100, 100);
        QTest::newRow("width 5000 is 1600, own height bounds it")
            << QSize(200, 100) << uR"({"width":5000})"_s << QSize(200, 100);
        QTest::newRow("box of 1600 grows it")
            << QSize(200, 100) << uR"({"width":5000,"height":5000})"_s << QSize(1600, 800);
        QTest::newRow("stretched tall then capped")
            << QSize(100, 100) << uR"({"width":1600,"height":1600,"fit":"stretch"})"_s << QSize(1600, 1600);
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
        QWidget *bad = image(u"not base64!"_s, {}, u"Rack photo"_s);
        QVERIFY(bad);
        auto *none = bad->findChild<QLabel *>(u"noImage"_s);
        QVERIFY(none);
        QCOMPARE(none->text(), u"(no image)"_s);
        QVERIFY(none->styleSheet().contains(u"border:1px dashed "_s + theme::palette().edge.name()));
        QCOMPARE(bad->findChildren<QLabel *>().size(), 2);
        QCOMPARE(bad->findChildren<QLabel *>().last()->text(), u"Rack photo"_s);

        const QString png = pngBase64(QSize(3000, 30));
        auto *capped = image(png, {}, {})->findChild<QLabel *>(u"image"_s);
        QVERIFY(capped);
        QCOMPARE(capped->pixmap().size(), QSize(1600, 16));
        QCOMPARE(capped->size(), QSize(1600, 16));

        QWidget *fitted = image(png, u"width"_s, {});
        auto *fit = fitted->findChild<prims::FitWidthImage *>(u"image"_s);
        QVERIFY(fit);
        QCOMPARE(fit->heightForWidth(300), 3);
        QCOMPARE(fit->minimumSizeHint().width(), 1);
        QVERIFY(fitted->findChildren<QLabel *>().isEmpty());
    }
};

QTEST_MAIN(TestTextPrims)
#include "tst_textprims.moc"
