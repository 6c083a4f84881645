// Badge, kpi, keyvalue, log and image: the value-to-text rules, the grid placement, the log's
// escaping and caps, and the image decoding and sizing.

#include "app/theme.h"
#include "prims/image.h"
#include "prims/imagedata.h"
#include "prims/kpi.h"
#include "prims/log.h"
#include "prims/registry.h"
#include "prims/text.h"
#include "support/testsupport.h"

#include <QBuffer>
#include <QGridLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QTest>
#include <QTextEdit>

using namespace Qt::StringLiterals;

namespace {

QJsonObject parse(const QString &text)
{
    return testsupport::json(text.toUtf8().constData());
}

QJsonValue parseValue(const QString &text)
{
    return parse(u"{\"v\":"_s + text + u"}"_s).value("v"_L1);
}

QString pngBase64(QSize size, QColor color = Qt::blue)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return QString::fromLatin1(bytes.toBase64());
}

QWidget *build(const QJsonObject &el, QWidget *parent)
{
    return prims::buildPrimitive(el, {}, 0, parent);
}

} // namespace

class TestTextPrims : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void valueText_data();
    void valueText();
    void kpiValue_data();
    void kpiValue();
    void kpiDelta_data();
    void kpiDelta();
    void kpiSizes_data();
    void kpiSizes();
    void badge_data();
    void badge();
    void keyvalueGrid_data();
    void keyvalueGrid();
    void logHtml_data();
    void logHtml();
    void logWidget();
    void decode_data();
    void decode();
    void sizedImage_data();
    void sizedImage();
    void imageWidget_data();
    void imageWidget();
};

void TestTextPrims::valueText_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("expected");
    QTest::newRow("string") << u"\"12 kg\""_s << u"12 kg"_s;
    QTest::newRow("whole double") << u"3.0"_s << u"3"_s;
    QTest::newRow("negative whole") << u"-42"_s << u"-42"_s;
    QTest::newRow("just below 1e15") << u"999999999999999"_s << u"999999999999999"_s;
    QTest::newRow("1e15 is general") << u"1e15"_s << u"1e+15"_s;
    QTest::newRow("2e15 is general") << u"2e15"_s << u"2e+15"_s;
    QTest::newRow("-1e15 is general") << u"-1e15"_s << u"-1e+15"_s;
    QTest::newRow("fraction") << u"0.1"_s << u"0.1"_s;
    QTest::newRow("six digits") << u"3.14159265"_s << u"3.14159"_s;
    QTest::newRow("large fraction") << u"1234567.5"_s << u"1.23457e+06"_s;
    QTest::newRow("true") << u"true"_s << u"yes"_s;
    QTest::newRow("false") << u"false"_s << u"no"_s;
    QTest::newRow("array") << u"[1,2]"_s << u"..."_s;
    QTest::newRow("object") << u"{\"a\":1}"_s << u"..."_s;
    QTest::newRow("null") << u"null"_s << QString();
}

void TestTextPrims::valueText()
{
    QFETCH(QString, json);
    QFETCH(QString, expected);
    QCOMPARE(prims::valueText(parseValue(json)), expected);
    QCOMPARE(prims::valueText(parse(u"{\"v\":"_s + json + u"}"_s), "v"_L1), expected);
}

void TestTextPrims::kpiValue_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("expected");
    QTest::newRow("missing") << u"{}"_s << u"-"_s;
    QTest::newRow("empty text") << u"{\"value\":\"\"}"_s << u"-"_s;
    QTest::newRow("object") << u"{\"value\":{}}"_s << u"-"_s;
    QTest::newRow("text as it stands") << u"{\"value\":\"1,204 \"}"_s << u"1,204 "_s;
    QTest::newRow("flag as its word") << u"{\"value\":true}"_s << u"true"_s;
    QTest::newRow("whole") << u"{\"value\":1204}"_s << u"1204"_s;
    QTest::newRow("whole double") << u"{\"value\":3.0}"_s << u"3"_s;
    QTest::newRow("ten digits kept") << u"{\"value\":1234567890}"_s << u"1234567890"_s;
    QTest::newRow("eleven digits rounded") << u"{\"value\":12345678901}"_s << u"1.23456789e+10"_s;
    QTest::newRow("fraction rounded to ten") << u"{\"value\":3.14159265358979}"_s << u"3.141592654"_s;
    QTest::newRow("trailing zeros dropped") << u"{\"value\":1.23456789012}"_s << u"1.23456789"_s;
    QTest::newRow("1e15") << u"{\"value\":1e15}"_s << u"1e+15"_s;
    QTest::newRow("small") << u"{\"value\":0.00025}"_s << u"0.00025"_s;
    QTest::newRow("negative") << u"{\"value\":-2.5}"_s << u"-2.5"_s;
}

void TestTextPrims::kpiValue()
{
    QFETCH(QString, element);
    QFETCH(QString, expected);
    const QJsonObject el = parse(element);
    QCOMPARE(prims::kpiValueText(el), expected);

    QJsonObject typed = el;
    typed.insert(u"type"_s, u"kpi"_s);
    QWidget parent;
    QWidget *tile = build(typed, &parent);
    QVERIFY(tile);
    auto *value = tile->findChild<QLabel *>(u"kpiValue"_s);
    QVERIFY(value);
    QCOMPARE(value->text(), expected);
    QVERIFY(!value->wordWrap());
}

void TestTextPrims::kpiDelta_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("tone");
    QTest::newRow("plus") << u"{\"delta\":\"+3\"}"_s << u"ok"_s;
    QTest::newRow("minus") << u"{\"delta\":\"-3\"}"_s << u"error"_s;
    QTest::newRow("plain") << u"{\"delta\":\"3\"}"_s << u"muted"_s;
    QTest::newRow("delta_tone beats plus") << u"{\"delta\":\"+3\",\"delta_tone\":\"warn\"}"_s << u"warn"_s;
    QTest::newRow("delta_tone beats minus") << u"{\"delta\":\"-3\",\"delta_tone\":\"warn\"}"_s << u"warn"_s;
    QTest::newRow("empty delta_tone ignored") << u"{\"delta\":\"-3\",\"delta_tone\":\"\"}"_s << u"error"_s;
}

void TestTextPrims::kpiDelta()
{
    QFETCH(QString, element);
    QFETCH(QString, tone);
    QJsonObject el = parse(element);
    QCOMPARE(prims::kpiDeltaColor(el), theme::toneColor(tone));

    el.insert(u"type"_s, u"kpi"_s);
    QWidget parent;
    QWidget *tile = build(el, &parent);
    auto *pill = tile->findChild<QLabel *>(u"kpiDelta"_s);
    QVERIFY(pill);
    QVERIFY(pill->styleSheet().contains(u"border:1px solid "_s + theme::toneColor(tone).name()));
}

void TestTextPrims::kpiSizes_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("valuePoints");
    QTest::addColumn<int>("unitPoints");
    QTest::addColumn<int>("deltaPoints");
    QTest::newRow("default") << 22 << 22 << 11 << 10;
    QTest::newRow("100 is 64") << 100 << 64 << 32 << 24;
    QTest::newRow("small unit is 8") << 12 << 12 << 8 << 7;
    QTest::newRow("below 10 is 10") << 2 << 10 << 8 << 7;
}

void TestTextPrims::kpiSizes()
{
    QFETCH(int, size);
    QFETCH(int, valuePoints);
    QFETCH(int, unitPoints);
    QFETCH(int, deltaPoints);
    QJsonObject el = parse(u"{\"type\":\"kpi\",\"value\":5,\"unit\":\"m\",\"delta\":\"+1\"}"_s);
    el.insert(u"size"_s, size);
    QWidget parent;
    QWidget *tile = build(el, &parent);
    QCOMPARE(tile->findChild<QLabel *>(u"kpiValue"_s)->font().pointSize(), theme::uiFont(valuePoints).pointSize());
    QCOMPARE(tile->findChild<QLabel *>(u"kpiUnit"_s)->font().pointSize(), theme::uiFont(unitPoints).pointSize());
    QCOMPARE(tile->findChild<QLabel *>(u"kpiDelta"_s)->font().pointSize(), theme::uiFont(deltaPoints).pointSize());
}

void TestTextPrims::badge_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("built");
    QTest::addColumn<QString>("border");
    QTest::newRow("no text") << u"{\"type\":\"badge\"}"_s << false << QString();
    QTest::newRow("outlined by default") << u"{\"type\":\"badge\",\"text\":\"LIVE\",\"tone\":\"ok\"}"_s << true
                                         << u"border:1px solid "_s + theme::toneColor(u"ok"_s).name() + u';';
    QTest::newRow("outline false") << u"{\"type\":\"badge\",\"text\":\"LIVE\",\"outline\":false}"_s << true
                                   << u"border:none;"_s;
    QTest::newRow("outline as text") << u"{\"type\":\"badge\",\"text\":\"LIVE\",\"outline\":\"no\"}"_s << true
                                     << u"border:none;"_s;
}

void TestTextPrims::badge()
{
    QFETCH(QString, element);
    QFETCH(bool, built);
    QFETCH(QString, border);
    QWidget parent;
    QWidget *row = build(parse(element), &parent);
    QCOMPARE(row != nullptr, built);
    if (!built)
        return;
    auto *pill = row->findChild<QLabel *>();
    QVERIFY(pill);
    QCOMPARE(pill->text(), u"LIVE"_s);
    QVERIFY2(pill->styleSheet().contains(border), qPrintable(pill->styleSheet()));
    QVERIFY(pill->styleSheet().contains(u"background:"_s + theme::palette().grey.name()));
}

void TestTextPrims::keyvalueGrid_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("items");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("lastRow");
    QTest::addColumn<int>("lastColumn");
    QTest::newRow("one column") << 1 << 3 << 3 << 2 << 0;
    QTest::newRow("two columns five items") << 2 << 5 << 3 << 2 << 0;
    QTest::newRow("three columns five items") << 3 << 5 << 2 << 1 << 1;
    QTest::newRow("nine is six") << 9 << 8 << 2 << 1 << 1;
    QTest::newRow("six full columns") << 6 << 12 << 2 << 1 << 5;
    QTest::newRow("zero is one") << 0 << 2 << 2 << 1 << 0;
}

void TestTextPrims::keyvalueGrid()
{
    QFETCH(int, columns);
    QFETCH(int, items);
    QFETCH(int, rows);
    QFETCH(int, lastRow);
    QFETCH(int, lastColumn);
    QJsonArray list;
    for (int i = 0; i < items; ++i)
        list.append(QJsonObject{{u"label"_s, u"L%1"_s.arg(i)}, {u"value"_s, i}});
    const QJsonObject el{{u"type"_s, u"keyvalue"_s}, {u"columns"_s, columns}, {u"items"_s, list}};
    QWidget parent;
    QWidget *box = build(el, &parent);
    QVERIFY(box);
    auto *grid = qobject_cast<QGridLayout *>(box->layout());
    QVERIFY(grid);
    QCOMPARE(grid->rowCount(), rows);
    int lastLabel = -1;
    int lastValue = -1;
    for (int i = 0; i < grid->count(); ++i) {
        auto *label = qobject_cast<QLabel *>(grid->itemAt(i)->widget());
        if (label && label->text() == u"L%1"_s.arg(items - 1))
            lastLabel = i;
        if (label && label->text() == QString::number(items - 1))
            lastValue = i;
    }
    QVERIFY(lastLabel >= 0 && lastValue >= 0);
    int r = 0, c = 0, rs = 0, cs = 0;
    grid->getItemPosition(lastLabel, &r, &c, &rs, &cs);
    QCOMPARE(r, lastRow);
    QCOMPARE(c, 2 * lastColumn);
    grid->getItemPosition(lastValue, &r, &c, &rs, &cs);
    QCOMPARE(c, 2 * lastColumn + 1);
    QCOMPARE(grid->columnStretch(2 * lastColumn + 1), 1);
    QCOMPARE(grid->columnStretch(2 * lastColumn), 0);
}

void TestTextPrims::logHtml_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<bool>("wrap");
    QTest::addColumn<QStringList>("contains");
    QTest::addColumn<QStringList>("absent");
    const QString ink = theme::palette().ink.name();
    QTest::newRow("markup is literal") << u"[\"<b>a & b</b>\"]"_s << false
                                       << QStringList{u"&lt;b&gt;a &amp; b&lt;/b&gt;"_s,
                                                      u"<span style='color:%1'>"_s.arg(ink)}
                                       << QStringList{u"<b>"_s};
    QTest::newRow("runs of spaces kept, pre")
        << u"[\"a    b\"]"_s << false << QStringList{u"white-space:pre'"_s, u"a    b"_s} << QStringList{};
    QTest::newRow("wrap uses pre-wrap") << u"[\"a    b\"]"_s << true
                                        << QStringList{u"white-space:pre-wrap'"_s, u"a    b"_s} << QStringList{};
    QTest::newRow("object line toned") << u"[{\"text\":\"E42 brake\",\"tone\":\"error\"}]"_s << false
                                       << QStringList{u"<span style='color:%1'>E42 brake</span><br>"_s.arg(
                                              theme::toneColor(u"error"_s).name())}
                                       << QStringList{};
    QTest::newRow("object line body by default")
        << u"[{\"text\":\"ok\"}]"_s << false
        << QStringList{u"<span style='color:%1'>ok</span>"_s.arg(theme::toneColor(u"body"_s).name())} << QStringList{};
    QTest::newRow("empty shows nothing yet")
        << u"[]"_s << false
        << QStringList{u"<span style='color:%1'><i>(nothing yet)</i></span>"_s.arg(theme::palette().dim.name())}
        << QStringList{u"<div"_s};
}

void TestTextPrims::logHtml()
{
    QFETCH(QString, lines);
    QFETCH(bool, wrap);
    QFETCH(QStringList, contains);
    QFETCH(QStringList, absent);
    const QString html = prims::logHtml(parseValue(lines).toArray(), wrap);
    for (const QString &part : contains)
        QVERIFY2(html.contains(part), qPrintable(html));
    for (const QString &part : absent)
        QVERIFY2(!html.contains(part), qPrintable(html));
}

void TestTextPrims::logWidget()
{
    QJsonArray lines;
    for (int i = 0; i < 6000; ++i)
        lines.append(u"line %1 <x>"_s.arg(i, 4, 10, QLatin1Char('0')));
    const QJsonObject el{{u"type"_s, u"log"_s}, {u"lines"_s, lines}, {u"height"_s, 10}};
    QWidget parent;
    auto *view = qobject_cast<QTextEdit *>(build(el, &parent));
    QVERIFY(view);
    QVERIFY(view->isReadOnly());
    QCOMPARE(view->height(), 40);
    QCOMPARE(view->lineWrapMode(), QTextEdit::NoWrap);
    const QString text = view->toPlainText();
    QVERIFY(text.contains(u"line 4999 <x>"_s));
    QVERIFY(!text.contains(u"line 5000"_s));
    QVERIFY(text.startsWith(u"line 0000 <x>"_s));
    QVERIFY(view->textCursor().atEnd());
}

void TestTextPrims::decode_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QSize>("size");
    const QString png = pngBase64(QSize(7, 3));
    QTest::newRow("plain base64") << png << QSize(7, 3);
    QTest::newRow("data url") << u"data:image/png;base64,"_s + png << QSize(7, 3);
    QTest::newRow("data url, wrong media type") << u"data:image/jpeg;base64,"_s + png << QSize(7, 3);
    QTest::newRow("only after the first comma") << u"data:x,"_s + png + u",x"_s << QSize();
    QTest::newRow("data without comma") << u"data:image/png;base64"_s << QSize();
    QTest::newRow("space inside") << png.left(8) + u' ' + png.mid(8) << QSize();
    QTest::newRow("newline inside") << png.left(8) + u'\n' + png.mid(8) << QSize();
    QTest::newRow("invalid character") << png.left(8) + u'!' + png.mid(8) << QSize();
    QTest::newRow("non-ascii character") << png.left(8) + u'é' + png.mid(8) << QSize();
    QTest::newRow("not a picture") << u"aGVsbG8gd29ybGQ="_s << QSize();
    QTest::newRow("truncated picture") << png.left(40) << QSize();
    QTest::newRow("empty") << QString() << QSize();
    QTest::newRow("empty data url") << u"data:image/png;base64,"_s << QSize();
}

void TestTextPrims::decode()
{
    QFETCH(QString, data);
    QFETCH(QSize, size);
    const QImage image = prims::decodeImageData(data);
    QCOMPARE(image.isNull(), !size.isValid());
    if (size.isValid())
        QCOMPARE(image.size(), size);
}

void TestTextPrims::sizedImage_data()
{
    QTest::addColumn<QSize>("source");
    QTest::addColumn<QString>("keys");
    QTest::addColumn<QSize>("shown");
    QTest::newRow("own size") << QSize(200, 100) << u"{}"_s << QSize(200, 100);
    QTest::newRow("3000 wide is 1600") << QSize(3000, 300) << u"{}"_s << QSize(1600, 160);
    QTest::newRow("width only") << QSize(200, 100) << u"{\"width\":100}"_s << QSize(100, 50);
    QTest::newRow("height only") << QSize(200, 100) << u"{\"height\":50}"_s << QSize(100, 50);
    QTest::newRow("box keeps shape") << QSize(200, 100) << u"{\"width\":100,\"height\":100}"_s << QSize(100, 50);
    QTest::newRow("stretch fills") << QSize(200, 100) << u"{\"width\":100,\"height\":100,\"fit\":\"stretch\"}"_s
                                   << QSize(100, 100);
    QTest::newRow("width 5000 is 1600, own height bounds it")
        << QSize(200, 100) << u"{\"width\":5000}"_s << QSize(200, 100);
    QTest::newRow("box of 1600 grows it")
        << QSize(200, 100) << u"{\"width\":5000,\"height\":5000}"_s << QSize(1600, 800);
    QTest::newRow("stretched tall then capped")
        << QSize(100, 100) << u"{\"width\":1600,\"height\":1600,\"fit\":\"stretch\"}"_s << QSize(1600, 1600);
    QTest::newRow("negative is own") << QSize(200, 100) << u"{\"width\":-30}"_s << QSize(200, 100);
}

void TestTextPrims::sizedImage()
{
    QFETCH(QSize, source);
    QFETCH(QString, keys);
    QFETCH(QSize, shown);
    QImage image(source, QImage::Format_RGB32);
    image.fill(Qt::red);
    QCOMPARE(prims::sizedImage(image, parse(keys)).size(), shown);
}

void TestTextPrims::imageWidget_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("fit");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QSize>("shown");
    const QString png = pngBase64(QSize(3000, 30));
    QTest::newRow("bad data") << u"not base64!"_s << QString() << u"Rack photo"_s << QSize();
    QTest::newRow("bad data, no caption") << u"aGVsbG8="_s << QString() << QString() << QSize();
    QTest::newRow("wide picture capped") << png << QString() << u"Aisle"_s << QSize(1600, 16);
    QTest::newRow("fit width") << png << u"width"_s << QString() << QSize(300, 3);
}

void TestTextPrims::imageWidget()
{
    QFETCH(QString, data);
    QFETCH(QString, fit);
    QFETCH(QString, caption);
    QFETCH(QSize, shown);
    const QJsonObject el{{u"type"_s, u"image"_s}, {u"data"_s, data}, {u"fit"_s, fit}, {u"caption"_s, caption}};
    QWidget parent;
    QWidget *box = build(el, &parent);
    QVERIFY(box);
    auto *none = box->findChild<QLabel *>(u"noImage"_s);
    QCOMPARE(none != nullptr, !shown.isValid());
    if (none) {
        QCOMPARE(none->text(), u"(no image)"_s);
        QVERIFY(none->styleSheet().contains(u"border:1px dashed "_s + theme::palette().edge.name()));
    } else if (fit == "width"_L1) {
        auto *image = box->findChild<prims::FitWidthImage *>(u"image"_s);
        QVERIFY(image);
        QCOMPARE(image->heightForWidth(shown.width()), shown.height());
        QCOMPARE(image->minimumSizeHint().width(), 1);
    } else {
        auto *image = box->findChild<QLabel *>(u"image"_s);
        QVERIFY(image);
        QCOMPARE(image->pixmap().size(), shown);
        QCOMPARE(image->size(), shown);
    }
    bool captionFound = false;
    for (QLabel *label : box->findChildren<QLabel *>())
        captionFound = captionFound || (!caption.isEmpty() && label->text() == caption);
    QCOMPARE(captionFound, !caption.isEmpty());
}

QTEST_MAIN(TestTextPrims)
#include "tst_textprims.moc"
