// The palette, the three tone resolvers, fonts and the style sheet.

#include "app/base/theme.h"
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

    // Only the light theme's name, in any case, picks it; anything else is the dark theme.
    void themeChoice_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("dark");
        QTest::newRow("light, lower case") << u"kestro light"_s << false;
        QTest::newRow("bare word Light") << u"Light"_s << true;
        QTest::newRow("unknown") << u"Solarized"_s << true;
    }
    void themeChoice()
    {
        QFETCH(QString, name);
        QFETCH(bool, dark);
        theme::setTheme(u"Kestro Light"_s);
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

    void accents()
    {
        QCOMPARE(theme::accentNames(), QStringList({u"Kestro Blue"_s, u"Slate"_s, u"Teal"_s, u"Indigo"_s}));
        QCOMPARE(theme::themeNames(), QStringList({u"Kestro Dark"_s, u"Kestro Light"_s}));
        QCOMPARE(theme::accentSwatch(u"indigo"_s, true), QColor("#7C86CC"));
        QCOMPARE(theme::accentSwatch(u"Indigo"_s, false), QColor("#4A55A8"));
        QCOMPARE(theme::accentSwatch(u"nope"_s, false), QColor("#2E6B96"));
        // The accent follows a change of theme.
        theme::setAccent(u"teal"_s);
        QCOMPARE(theme::palette().accent, QColor("#4E9A94"));
        QCOMPARE(theme::palette().accentStrong, QColor("#6FB8B2"));
        theme::setTheme(u"Kestro Light"_s);
        QCOMPARE(theme::palette().accent, QColor("#2C6F6A"));
        QCOMPARE(theme::palette().accentStrong, QColor("#1B514D"));
        QCOMPARE(theme::currentAccentName(), u"Teal"_s);
    }

    // Each resolver maps names to palette slots; the slot is named, so one table checks both themes.
    void resolvers_data()
    {
        QTest::addColumn<int>("resolver"); // 0 toneColor, 1 toneSoft, 2 textTone
        QTest::addColumn<QString>("tone");
        QTest::addColumn<QString>("slot");
        const char *const rows[][3] = {
            {"0", "accent", "accent"}, {"0", "good", "ok"},          {"0", "DANGER", "error"},
            {"0", "bad", "error"},     {"0", "idle", "dim"},         {"0", "body", "ink"},
            {"0", "card", "surface"},  {"0", "row", "row"},          {"0", "", "ink"},
            {"0", "#zz", "ink"},       {"0", "purple", "ink"},       {"1", "ok", "okSoft"},
            {"1", "Warn", "warnSoft"}, {"1", "danger", "errorSoft"}, {"1", "busy", "busySoft"},
            {"1", "accent", "grey"},   {"1", "muted", "grey"},       {"1", "", "grey"},
            {"2", "body", "muted"},    {"2", "muted", "dim"},        {"2", "idle", "dim"},
            {"2", "danger", "muted"},  {"2", "bad", "muted"},        {"2", "good", "ok"},
            {"2", "accent", "accent"}, {"2", "ink", "muted"}};
        for (const auto &row : rows) {
            const int r = row[0][0] - '0';
            QTest::addRow("%s(%s)",
                          r == 0   ? "toneColor"
                          : r == 1 ? "toneSoft"
                                   : "textTone",
                          row[1])
                << r << QString::fromLatin1(row[1]) << QString::fromLatin1(row[2]);
        }
    }
    void resolvers()
    {
        QFETCH(int, resolver);
        QFETCH(QString, tone);
        QFETCH(QString, slot);
        for (const QString &name : theme::themeNames()) {
            theme::setTheme(name);
            const theme::Palette &p = theme::palette();
            const QHash<QString, QColor> bySlot = {{u"accent"_s, p.accent},     {u"ok"_s, p.ok},
                                                   {u"error"_s, p.error},       {u"dim"_s, p.dim},
                                                   {u"ink"_s, p.ink},           {u"surface"_s, p.surface},
                                                   {u"row"_s, p.row},           {u"okSoft"_s, p.okSoft},
                                                   {u"warnSoft"_s, p.warnSoft}, {u"errorSoft"_s, p.errorSoft},
                                                   {u"busySoft"_s, p.busySoft}, {u"grey"_s, p.grey},
                                                   {u"muted"_s, p.muted}};
            QVERIFY2(bySlot.contains(slot), qPrintable(slot));
            const QColor got = resolver == 0   ? theme::toneColor(tone)
                               : resolver == 1 ? theme::toneSoft(tone)
                                               : theme::textTone(tone);
            QCOMPARE(got, bySlot.value(slot));
        }
        QCOMPARE(theme::toneColor(u"#12ab34"_s), QColor("#12ab34")); // hex passes through
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

    void styleSheetFilled()
    {
        for (const QString &name : theme::themeNames()) {
            theme::setTheme(name);
            const QString sheet = theme::styleSheet();
            const theme::Palette &p = theme::palette();
            QVERIFY(!sheet.contains(QRegularExpression(u"%\\d"_s)));
            // Two-digit placeholders must not have been taken for %1 followed by a digit.
            QVERIFY(sheet.contains(u"QToolTip { background: %1; color: %2;"_s.arg(p.grey.name(), p.ink.name())));
            QVERIFY(sheet.contains(u"QPushButton[kind=\"good\"] { color: %1; border-color: %1;"_s.arg(p.ok.name())));
            QVERIFY(sheet.contains(u"background: %1; }QPushButton[kind=\"good\"]:hover"_s.arg(p.okSoft.name())));
            QVERIFY(sheet.contains(u"url(:/chevron-down.png)"_s));
        }
    }

    void resourcesPresent()
    {
        for (const char *name : {":/chevron-up.png", ":/kestro.png"})
            QVERIFY2(!QImage(QString::fromLatin1(name)).isNull(), name);
        QCOMPARE(QImage(u":/chevron-down.png"_s).size(), QSize(10, 6));
    }

    void blend_data()
    {
        QTest::addColumn<QColor>("base");
        QTest::addColumn<QColor>("toward");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<QColor>("expected");
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
