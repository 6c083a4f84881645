// The input primitives: field identity and label wrapper, the date-time editor's format and
// range, and what "search" and "toggle" post through a recording press callback.

#include "app/base/theme.h"
#include "prims/datetime.h"
#include "prims/field.h"
#include "prims/registry.h"
#include "prims/search.h"
#include "prims/toggle.h"
#include "support/widgets.h"

#include <QDateTimeEdit>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

using testsupport::json;
using testsupport::Posted;

// The element `keys` given the type, built with a press callback that records every post (or none).
template<typename T> T *build(const QString &type, const QString &keys, QWidget *parent, QList<Posted> *posts = nullptr)
{
    QJsonObject el = json(keys);
    el.insert(u"type"_s, type);
    return qobject_cast<T *>(prims::buildPrimitive(el, testsupport::recording(posts), 0, parent));
}

} // namespace

class TestFields final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    // "id" names the input itself; "label" puts a muted line above it in a wrapper.
    void identity_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("label");
        QTest::newRow("search, id and label")
            << u"search"_s << uR"({"id":"sku","label":"Article"})"_s << u"sku"_s << u"Article"_s;
        QTest::newRow("toggle with id") << u"toggle"_s << uR"({"id":"lamp"})"_s << u"lamp"_s << QString();
        QTest::newRow("datetime label only") << u"datetime"_s << uR"({"label":"When"})"_s << QString() << u"When"_s;
    }
    void identity()
    {
        QFETCH(QString, type);
        QFETCH(QString, keys);
        QFETCH(QString, id);
        QFETCH(QString, label);
        QWidget parent;
        QWidget *w = build<QWidget>(type, keys, &parent);
        QVERIFY(w);
        QWidget *input = w;
        if (!id.isEmpty()) {
            input = w->objectName() == u"field:"_s + id ? w : w->findChild<QWidget *>(u"field:"_s + id);
            QVERIFY(input);
            QCOMPARE(input->property("fieldId").toString(), id);
        } else {
            QVERIFY(!w->property("fieldId").isValid());
            QVERIFY(!w->objectName().startsWith(u"field:"_s));
        }
        const QList<QLabel *> labels = w->findChildren<QLabel *>(Qt::FindDirectChildrenOnly);
        QCOMPARE(labels.size(), label.isEmpty() ? 0 : 1);
        if (label.isEmpty())
            return;
        QCOMPARE(labels.first()->text(), label);
        QCOMPARE(labels.first()->palette().color(QPalette::WindowText), theme::toneColor(u"muted"_s));
        testsupport::layOut(w, 300);
        if (input == w)
            input = w->findChildren<QWidget *>(Qt::FindDirectChildrenOnly).last();
        QVERIFY(labels.first()->geometry().bottom() < input->geometry().top());
    }

    void dateTime_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QDateTime>("value");
        QTest::addColumn<QDateTime>("min");
        QTest::addColumn<QDateTime>("max");
        const QDateTime v(QDate(2026, 3, 14), QTime(9, 30, 0));
        const QDateTime lo(QDate(2026, 3, 1), QTime(0, 0));
        const QDateTime hi(QDate(2026, 3, 31), QTime(18, 0));
        const QString full = u"yyyy-MM-dd HH:mm:ss"_s;
        QDateTimeEdit reference;
        const QDateTime defMin = reference.minimumDateTime();
        const QDateTime defMax = reference.maximumDateTime();
        QTest::newRow("date mode") << uR"({"mode":"date","value":"2026-03-14T09:30:00"})"_s << u"yyyy-MM-dd"_s << v
                                   << defMin << defMax;
        QTest::newRow("time mode keeps to the day")
            << uR"({"mode":"time","value":"2026-03-14T09:30:00"})"_s << u"HH:mm:ss"_s << v
            << QDateTime(v.date(), QTime(0, 0)) << QDateTime(v.date(), QTime(23, 59, 59, 999));
        QTest::newRow("range applied")
            << uR"({"value":"2026-03-14T09:30:00","min":"2026-03-01T00:00:00","max":"2026-03-31T18:00:00"})"_s << full
            << v << lo << hi;
        QTest::newRow("value below min is raised")
            << uR"({"value":"2026-02-01T00:00:00","min":"2026-03-01T00:00:00"})"_s << full << lo << lo << defMax;
        QTest::newRow("max before min ignored")
            << uR"({"value":"2026-03-14T09:30:00","min":"2026-03-01T00:00:00","max":"2026-02-01T00:00:00"})"_s << full
            << v << lo << defMax;
        QTest::newRow("any other mode is date and time")
            << uR"({"mode":"Date","value":"2026-03-14T09:30:00"})"_s << full << v << defMin << defMax;
    }
    void dateTime()
    {
        QFETCH(QString, keys);
        QFETCH(QString, format);
        QFETCH(QDateTime, value);
        QFETCH(QDateTime, min);
        QFETCH(QDateTime, max);
        QWidget parent;
        auto *edit = build<QDateTimeEdit>(u"datetime"_s, keys, &parent);
        QVERIFY(edit);
        QCOMPARE(edit->displayFormat(), format);
        QCOMPARE(edit->calendarPopup(), format != "HH:mm:ss"_L1); // a time alone has no calendar
        QCOMPARE(edit->dateTime(), value);
        QCOMPARE(edit->minimumDateTime(), min);
        QCOMPARE(edit->maximumDateTime(), max);
    }

    // An unreadable value starts at the current date and time (compared loosely: the clock moves).
    void dateTimeInvalidValue()
    {
        for (const QString &keys : {u"{}"_s, uR"({"value":"next tuesday"})"_s, uR"({"value":20260314})"_s,
                                    uR"({"value":"2026-02-30T10:00:00"})"_s}) {
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
        QTest::newRow("typed onto the initial value")
            << uR"({"value":">","submit":{"path":"/p"}})"_s << true << u"/p"_s << uR"({"query":">KS-300 lift"})"_s;
        QTest::newRow("no submit never posts") << uR"({"id":"sku"})"_s << true << QString() << QString();
        QTest::newRow("empty path never posts")
            << uR"({"submit":{"body":{"a":1}}})"_s << true << QString() << QString();
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
        QVERIFY(box);
        QCOMPARE(box->placeholderText(), u"Search"_s);
        QVERIFY(box->isClearButtonEnabled());
        testsupport::layOut(&parent, 300);
        box->setFocus();
        box->end(false);
        QTest::keyClicks(box, u"KS-300 lift"_s);
        QCOMPARE(posts.size(), 0);
        QTest::keyClick(box, Qt::Key_Return);
        QCOMPARE(posts.size(), path.isEmpty() ? 0 : 1);
        if (path.isEmpty())
            return;
        QCOMPARE(posts.first().path, path);
        QCOMPARE(posts.first().body, json(body));
    }

    // Every flip posts the click body with "value" set to the new state; two clicks flip back.
    void toggle_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("withPress");
        QTest::addColumn<bool>("initial");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("body"); // of the first post; empty: nothing is posted
        QTest::newRow("off to on to off")
            << uR"({"click":{"path":"/api/lamp"}})"_s << true << false << u"/api/lamp"_s << uR"({"value":true})"_s;
        QTest::newRow("value in body overwritten") << uR"({"click":{"path":"/p","body":{"value":"x","lamp":3}}})"_s
                                                   << true << false << u"/p"_s << uR"({"value":true,"lamp":3})"_s;
        QTest::newRow("starts on") << uR"({"value":"yes","click":{"path":"/p"}})"_s << true << true << u"/p"_s
                                   << uR"({"value":false})"_s;
        QTest::newRow("click with body only still posts")
            << uR"({"click":{"body":{"k":1}}})"_s << true << false << QString() << uR"({"k":1,"value":true})"_s;
        QTest::newRow("no press callback")
            << uR"({"click":{"path":"/p"}})"_s << false << false << QString() << QString();
    }
    void toggle()
    {
        QFETCH(QString, keys);
        QFETCH(bool, withPress);
        QFETCH(bool, initial);
        QFETCH(QString, path);
        QFETCH(QString, body);
        QList<Posted> posts;
        QWidget parent;
        auto *sw = build<prims::Switch>(u"toggle"_s, keys, &parent, withPress ? &posts : nullptr);
        QVERIFY(sw);
        QCOMPARE(sw->isChecked(), initial);
        QCOMPARE(sw->property("pressSound").toString(), body.isEmpty() ? QString() : u"selector"_s);
        testsupport::layOut(&parent, 200);
        QTest::mouseClick(sw, Qt::LeftButton, {}, sw->rect().center());
        QCOMPARE(sw->isChecked(), !initial);
        QTest::mouseClick(sw, Qt::LeftButton, {}, sw->rect().center());
        QCOMPARE(sw->isChecked(), initial);
        QCOMPARE(posts.size(), body.isEmpty() ? 0 : 2);
        if (body.isEmpty())
            return;
        QCOMPARE(posts.at(0).path, path);
        QCOMPARE(posts.at(0).body, json(body));
        QJsonObject back = json(body);
        back.insert(u"value"_s, initial);
        QCOMPARE(posts.at(1).body, back);
    }

    // The space key flips the switch; either text fits without the switch changing size.
    void switchWidget()
    {
        QWidget parent;
        auto *sw = build<prims::Switch>(u"toggle"_s, uR"({"on_text":"Running","off_text":"Stopped"})"_s, &parent);
        QVERIFY(sw);
        QCOMPARE(sw->stateText(), u"Stopped"_s);
        const QSize before = sw->sizeHint();
        sw->setFocus();
        testsupport::layOut(&parent, 200);
        QTest::keyClick(sw, Qt::Key_Space);
        QCOMPARE(sw->stateText(), u"Running"_s);
        QCOMPARE(sw->text(), u"Running"_s);
        QCOMPARE(sw->sizeHint(), before);
        QVERIFY(before.width() >= QFontMetrics(sw->font()).horizontalAdvance(u"Stopped"_s) + 38);
    }
};

QTEST_MAIN(TestFields)
#include "tst_fields.moc"
