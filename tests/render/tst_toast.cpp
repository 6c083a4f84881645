// The toast strip: timing by generation, error toasts that wait for a click, blank toasts.

#include "app/base/theme.h"
#include "render/toast.h"
#include "support/testsupport.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
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
        QTest::newRow("empty tone is accent") << QString() << u"Sent"_s << u"Sent"_s << u"accent"_s;
        QTest::newRow("error asks for a click")
            << u"error"_s << u"Refused"_s << u"Refused   (click to dismiss)"_s << u"error"_s;
        QTest::newRow("bad is not an error toast") << u"bad"_s << u"Odd"_s << u"Odd"_s << u"bad"_s;
        QTest::newRow("markup as typed") << u"ok"_s << u"<b>Saved</b> & stored"_s << u"<b>Saved</b> & stored"_s
                                         << u"ok"_s;
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
        QCOMPARE(strip.objectName(), u"toastStrip"_s); // the style sheet's selector
        QCOMPARE(strip.text(), shown);
        QCOMPARE(strip.findChild<QLabel *>()->textFormat(), Qt::PlainText);
        QVERIFY(strip.styleSheet().contains(theme::toneColor(colourTone).name()));
        QVERIFY(strip.styleSheet().contains(theme::toneSoft(colourTone).name()));
        QCOMPARE(strip.generation(), 1);
    }

    void blankTextLeavesTheStrip()
    {
        ToastStrip strip;
        strip.showToast({u"Moving to slot 4"_s, u"busy"_s, 60000});
        for (const QString &blank : {QString(), u"\t\n "_s})
            strip.showToast({blank, u"error"_s, 10});
        QCOMPARE(strip.text(), u"Moving to slot 4"_s);
        QCOMPARE(strip.generation(), 1);
        QCOMPARE(strip.pendingTimers(), 1);
        QVERIFY(!strip.isHidden());
    }

    // Two ordinary toasts in a row: the second one's own timer still hides the strip.
    void toastsHideOnTheirOwnTimers()
    {
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({u"First"_s, u"ok"_s, 20});
        strip.showToast({u"Second"_s, u"ok"_s, 80});
        QCOMPARE(strip.pendingTimers(), 2);
        QTRY_COMPARE(expired.count(), 2);
        QVERIFY(strip.isHidden());
        QCOMPARE(strip.pendingTimers(), 0);
    }

    // The first toast's timer fires while the second is up and must leave it alone.
    void overlappingToastsKeepTheNewer_data()
    {
        QTest::addColumn<QString>("secondTone");
        QTest::newRow("newer ordinary toast") << u"ok"_s;
        QTest::newRow("newer error toast") << u"error"_s;
    }
    void overlappingToastsKeepTheNewer()
    {
        QFETCH(QString, secondTone);
        ToastStrip strip;
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({u"First"_s, u"ok"_s, 30});
        strip.showToast({u"Second"_s, secondTone, 600000});
        QTRY_COMPARE(expired.count(), 1);
        QCOMPARE(expired.at(0).at(0).toInt(), 1); // the first toast's timer
        QVERIFY(!strip.isHidden());
        QVERIFY(strip.text().startsWith(u"Second"_s));
    }

    void errorToastWaitsForAClick()
    {
        ToastStrip strip;
        testsupport::layOut(&strip, 400);
        strip.showToast({u"The unit refused"_s, u"error"_s, 10});
        QCOMPARE(strip.pendingTimers(), 0); // no timer at all: it can never hide by itself
        QVERIFY(strip.isVisible());
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
        QCOMPARE(strip.generation(), 2);
    }

    void clickBeforeTheTimerWins()
    {
        ToastStrip strip;
        testsupport::layOut(&strip, 400);
        QSignalSpy expired(&strip, &ToastStrip::expired);
        strip.showToast({u"Saved"_s, u"ok"_s, 40});
        QTest::mouseClick(&strip, Qt::LeftButton);
        QVERIFY(strip.isHidden());
        // A new toast after the click, longer than the first: the old timer must not hide it.
        strip.showToast({u"Again"_s, u"ok"_s, 600000});
        QTRY_COMPARE(expired.count(), 1);
        QVERIFY(!strip.isHidden());
        QCOMPARE(strip.text(), u"Again"_s);
    }
};

QTEST_MAIN(TestToast)
#include "tst_toast.moc"
