// The toast strip: timing by generation, error toasts that wait for a click, blank toasts.

#include "app/theme.h"
#include "render/toast.h"
#include "support/testsupport.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>

using render::Toast;
using render::ToastStrip;

class TestToast : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void showsTextAndTone_data()
    {
        QTest::addColumn<QString>("tone");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("colourTone");

        QTest::newRow("ok") << "ok"
                            << "Saved"
                            << "Saved"
                            << "ok";
        QTest::newRow("empty tone is accent") << ""
                                              << "Sent"
                                              << "Sent"
                                              << "accent";
        QTest::newRow("error asks for a click") << "error"
                                                << "Refused"
                                                << "Refused   (click to dismiss)"
                                                << "error";
        QTest::newRow("bad is not an error toast") << "bad"
                                                   << "Odd"
                                                   << "Odd"
                                                   << "bad";
    }

    void showsTextAndTone()
    {
        QFETCH(QString, tone);
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QFETCH(QString, colourTone);
        ToastStrip strip;
        QVERIFY(strip.isHidden());
        strip.showToast({text, tone, 60000});
        QVERIFY(!strip.isHidden());
        QCOMPARE(strip.objectName(), QStringLiteral("toastStrip"));
        QCOMPARE(strip.text(), shown);
        QVERIFY(strip.styleSheet().contains(theme::toneColor(colourTone).name()));
        QVERIFY(strip.styleSheet().contains(theme::toneSoft(colourTone).name()));
        QCOMPARE(strip.generation(), 1);
    }

    void blankTextLeavesTheStrip_data()
    {
        QTest::addColumn<QString>("blank");
        QTest::newRow("empty") << "";
        QTest::newRow("spaces") << "   ";
        QTest::newRow("tabs and newline") << "\t\n ";
    }

    void blankTextLeavesTheStrip()
    {
        QFETCH(QString, blank);
        ToastStrip strip;
        strip.showToast({QStringLiteral("Moving to slot 4"), QStringLiteral("busy"), 60000});
        strip.showToast({blank, QStringLiteral("error"), 10});
        QCOMPARE(strip.text(), QStringLiteral("Moving to slot 4"));
        QCOMPARE(strip.generation(), 1);
        QCOMPARE(strip.pendingTimers(), 1);
        QVERIFY(!strip.isHidden());
    }

    void ordinaryToastHidesAfterItsDuration()
    {
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({QStringLiteral("Saved"), QStringLiteral("ok"), 50});
        QCOMPARE(strip.pendingTimers(), 1);
        QTRY_COMPARE(expired.count(), 1);
        QVERIFY(strip.isHidden());
        QCOMPARE(strip.pendingTimers(), 0);
    }

    // The first toast's timer fires while the second is up and must leave it alone.
    void overlappingToastsKeepTheNewer_data()
    {
        QTest::addColumn<int>("firstMs");
        QTest::addColumn<QString>("secondTone");
        QTest::newRow("newer ordinary toast") << 30 << "ok";
        QTest::newRow("newer error toast") << 30 << "error";
    }

    void overlappingToastsKeepTheNewer()
    {
        QFETCH(int, firstMs);
        QFETCH(QString, secondTone);
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({QStringLiteral("First"), QStringLiteral("ok"), firstMs});
        strip.showToast({QStringLiteral("Second"), secondTone, 600000});
        QTRY_COMPARE(expired.count(), 1);
        QCOMPARE(expired.at(0).at(0).toInt(), 1); // the first toast's timer
        QVERIFY(!strip.isHidden());
        QVERIFY(strip.text().startsWith(QStringLiteral("Second")));
    }

    void secondToastStillHidesOnItsOwnTimer()
    {
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({QStringLiteral("First"), QStringLiteral("ok"), 20});
        strip.showToast({QStringLiteral("Second"), QStringLiteral("ok"), 80});
        QTRY_COMPARE(expired.count(), 2);
        QVERIFY(strip.isHidden());
    }

    void errorToastWaitsForAClick()
    {
        ToastStrip strip;
        testsupport::layOut(&strip, 400);
        strip.showToast({QStringLiteral("The unit refused"), QStringLiteral("error"), 10});
        QCOMPARE(strip.pendingTimers(), 0); // no timer at all: it can never hide by itself
        QVERIFY(strip.isVisible());
        const int before = strip.generation();
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
        QCOMPARE(strip.generation(), before + 1);
    }

    void clickBeforeTheTimerWins()
    {
        ToastStrip strip;
        testsupport::layOut(&strip, 400);
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({QStringLiteral("Saved"), QStringLiteral("ok"), 40});
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
        // A new toast after the click, longer than the first: the old timer must not hide it.
        strip.showToast({QStringLiteral("Again"), QStringLiteral("ok"), 600000});
        QTRY_COMPARE(expired.count(), 1);
        QVERIFY(!strip.isHidden());
        QCOMPARE(strip.text(), QStringLiteral("Again"));
    }
};

QTEST_MAIN(TestToast)
#include "tst_toast.moc"
