// The palette, the three tone resolvers, fonts and the style sheet.

#include "app/theme.h"
#include "support/testsupport.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

class TestTheme final : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        theme::setTheme(u"Kestro Dark"_s);
        theme::setAccent(u"Kestro Blue"_s);
        theme::setTextScale(1.0);
    }

    void themeChoice_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("dark");
        QTest::newRow("light, lower case") << u"kestro light"_s << false;
        QTest::newRow("light, exact") << u"Kestro Light"_s << false;
        QTest::newRow("bare word Light") << u"Light"_s << true;
        QTest::newRow("empty") << QString() << true;
        QTest::newRow("dark") << u"Kestro Dark"_s << true;
        QTest::newRow("unknown") << u"Solarized"_s << true;
    }
    void themeChoice()
    {
        QFETCH(QString, name);
        QFETCH(bool, dark);
        theme::setTheme(name);
        QCOMPARE(theme::palette().dark, dark);
        QCOMPARE(theme::palette().bg, QColor(dark ? "#16181B" : "#F2F4F6"));
        QCOMPARE(theme::palette().shade, QColor(dark ? "#26292E" : "#E2E7EB"));
        QCOMPARE(theme::currentThemeName(), dark ? u"Kestro Dark"_s : u"Kestro Light"_s);
    }

    void settersReportChange()
    {
        QVERIFY(!theme::setTheme(u"Kestro Dark"_s));
        QVERIFY(theme::setTheme(u"Kestro Light"_s));
        QVERIFY(!theme::setTheme(u"KESTRO LIGHT"_s));
        QVERIFY(!theme::setAccent(u"kestro blue"_s));
        QVERIFY(theme::setAccent(u"Slate"_s));
        QVERIFY(!theme::setAccent(u"slate"_s));
        QVERIFY(theme::setAccent(u"no such accent"_s));
        QCOMPARE(theme::currentAccentName(), u"Kestro Blue"_s);
    }

    void accentFollowsTheme()
    {
        theme::setAccent(u"teal"_s);
        QCOMPARE(theme::palette().accent, QColor("#4E9A94"));
        QCOMPARE(theme::palette().accentStrong, QColor("#6FB8B2"));
        theme::setTheme(u"Kestro Light"_s);
        QCOMPARE(theme::palette().accent, QColor("#2C6F6A"));
        QCOMPARE(theme::palette().accentStrong, QColor("#1B514D"));
        QCOMPARE(theme::currentAccentName(), u"Teal"_s);
    }

    void accentLists()
    {
        QCOMPARE(theme::accentNames(), QStringList({u"Kestro Blue"_s, u"Slate"_s, u"Teal"_s, u"Indigo"_s}));
        QCOMPARE(theme::themeNames(), QStringList({u"Kestro Dark"_s, u"Kestro Light"_s}));
        QCOMPARE(theme::accentSwatch(u"indigo"_s, true), QColor("#7C86CC"));
        QCOMPARE(theme::accentSwatch(u"Indigo"_s, false), QColor("#4A55A8"));
        QCOMPARE(theme::accentSwatch(u"nope"_s, false), QColor("#2E6B96"));
    }

    // Each resolver maps names to slots; the expected slot is named, so the same table checks
    // both themes.
    void resolvers_data()
    {
        QTest::addColumn<int>("resolver"); // 0 toneColor, 1 toneSoft, 2 textTone
        QTest::addColumn<QString>("tone");
        QTest::addColumn<QString>("slot");
        auto row = [](int r, const char *tone, const char *slot) {
            QTest::addRow("%s(%s)", r == 0 ? "toneColor" : r == 1 ? "toneSoft" : "textTone", tone)
                << r << QString::fromLatin1(tone) << QString::fromLatin1(slot);
        };
        row(0, "accent", "accent");
        row(0, "good", "ok");
        row(0, "DANGER", "error");
        row(0, "bad", "error");
        row(0, "idle", "dim");
        row(0, "body", "ink");
        row(0, "card", "surface");
        row(0, "row", "row");
        row(0, "", "ink");
        row(0, "#zz", "ink");
        row(0, "purple", "ink");
        row(1, "ok", "okSoft");
        row(1, "Warn", "warnSoft");
        row(1, "danger", "errorSoft");
        row(1, "busy", "busySoft");
        row(1, "accent", "grey");
        row(1, "muted", "grey");
        row(1, "", "grey");
        row(2, "body", "muted");
        row(2, "muted", "dim");
        row(2, "idle", "dim");
        row(2, "danger", "muted");
        row(2, "bad", "muted");
        row(2, "good", "ok");
        row(2, "accent", "accent");
        row(2, "ink", "muted");
    }
    void resolvers()
    {
        QFETCH(int, resolver);
        QFETCH(QString, tone);
        QFETCH(QString, slot);
        for (const QString &name : theme::themeNames()) {
            theme::setTheme(name);
            const theme::Palette &p = theme::palette();
            const QHash<QString, QColor> bySlot = {
                {u"accent"_s, p.accent}, {u"ok"_s, p.ok},         {u"error"_s, p.error},
                {u"dim"_s, p.dim},       {u"ink"_s, p.ink},       {u"surface"_s, p.surface},
                {u"row"_s, p.row},       {u"okSoft"_s, p.okSoft}, {u"warnSoft"_s, p.warnSoft},
                {u"errorSoft"_s, p.errorSoft}, {u"busySoft"_s, p.busySoft}, {u"grey"_s, p.grey},
                {u"muted"_s, p.muted},
            };
            QVERIFY2(bySlot.contains(slot), qPrintable(slot));
            const QColor got = resolver == 0   ? theme::toneColor(tone)
                               : resolver == 1 ? theme::toneSoft(tone)
                                               : theme::textTone(tone);
            QCOMPARE(got, bySlot.value(slot));
        }
    }

    void hexPassesThrough()
    {
        QCOMPARE(theme::toneColor(u"#12ab34"_s), QColor("#12ab34"));
        QCOMPARE(theme::toneColor(u"#FFFFFF"_s), QColor(Qt::white));
    }

    void textScale_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("points");
        QTest::addColumn<int>("expected");
        QTest::newRow("clamped to 1.8") << 5.0 << 10 << 18;
        QTest::newRow("clamped to 0.7") << 0.1 << 10 << 7;
        QTest::newRow("never below 6") << 1.0 << 3 << 6;
        QTest::newRow("half rounds up") << 1.5 << 9 << 14; // 13.5
        QTest::newRow("1.25") << 1.25 << 10 << 13;         // 12.5
    }
    void textScale()
    {
        QFETCH(double, scale);
        QFETCH(int, points);
        QFETCH(int, expected);
        theme::setTextScale(scale);
        QCOMPARE(theme::uiFont(points, false).pointSize(), expected);
        QCOMPARE(theme::monoFont(points).pointSize(), expected);
    }

    void fonts()
    {
        const QFont bold = theme::uiFont(12, true);
        QCOMPARE(bold.weight(), QFont::Bold);
        QCOMPARE(theme::uiFont(12, false).weight(), QFont::Normal);
        QCOMPARE(bold.families().first(), u"Segoe UI"_s);
        QVERIFY(bold.families().contains(u"DejaVu Sans"_s));
        QVERIFY(theme::monoFont(10).families().contains(u"DejaVu Sans Mono"_s));
    }

    void styleSheetFilled_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::newRow("dark") << u"Kestro Dark"_s;
        QTest::newRow("light") << u"Kestro Light"_s;
    }
    void styleSheetFilled()
    {
        QFETCH(QString, theme);
        theme::setTheme(theme);
        const QString sheet = theme::styleSheet();
        const theme::Palette &p = theme::palette();
        QVERIFY(!sheet.contains(QRegularExpression(u"%\\d"_s)));
        // Two-digit placeholders must not have been taken for %1 followed by a digit.
        QVERIFY(sheet.contains(u"QToolTip { background: %1; color: %2;"_s.arg(p.grey.name(), p.ink.name())));
        QVERIFY(sheet.contains(u"QPushButton[kind=\"good\"] { color: %1; border-color: %1;"_s.arg(p.ok.name())));
        QVERIFY(sheet.contains(u"background: %1; }QPushButton[kind=\"good\"]:hover"_s.arg(p.okSoft.name())));
        QVERIFY(sheet.contains(u"QPushButton[kind=\"primary\"]:hover { background: %1;"_s.arg(p.accentStrong.name())));
        QVERIFY(sheet.contains(u"QFrame#card { background: %1; border: 1px solid %2;              border-radius: 6px"_s.arg(
            p.surface.name(), p.edge.name())));
        QVERIFY(sheet.contains(u"border-bottom-right-radius: 5px; background: %1;"_s.arg(p.button.name())));
        QVERIFY(sheet.contains(u"url(:/chevron-down.png)"_s));
    }

    void resourcesPresent()
    {
        for (const char *name : {":/chevron-down.png", ":/chevron-up.png", ":/kestro.png"}) {
            QImage image(QString::fromLatin1(name));
            QVERIFY2(!image.isNull(), name);
        }
        QCOMPARE(QImage(u":/chevron-down.png"_s).size(), QSize(10, 6));
    }

    void blend_data()
    {
        QTest::addColumn<QColor>("base");
        QTest::addColumn<QColor>("toward");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("none") << QColor("#282C31") << QColor("#DB5B4F") << 0.0 << QColor("#282C31");
        QTest::newRow("all") << QColor("#282C31") << QColor("#DB5B4F") << 1.0 << QColor("#DB5B4F");
        QTest::newRow("10%") << QColor("#000000") << QColor("#FF6432") << 0.1 << QColor(26, 10, 5);
        QTest::newRow("clamped") << QColor("#000000") << QColor("#FFFFFF") << 3.0 << QColor("#FFFFFF");
    }
    void blend()
    {
        QFETCH(QColor, base);
        QFETCH(QColor, toward);
        QFETCH(double, fraction);
        QFETCH(QColor, expected);
        QCOMPARE(theme::blend(base, toward, fraction), expected);
    }
};

QTEST_MAIN(TestTheme)
#include "tst_theme.moc"
