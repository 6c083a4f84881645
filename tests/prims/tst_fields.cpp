// The input primitives: field identity and label wrapper, the date-time editor's format and
// range, and what "search" and "toggle" post through a recording press callback.

#include "app/theme.h"
#include "prims/datetime.h"
#include "prims/field.h"
#include "prims/registry.h"
#include "prims/search.h"
#include "prims/toggle.h"
#include "support/testsupport.h"

#include <QDateTimeEdit>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QJsonObject parse(const QString &text)
{
    return testsupport::json(text.toUtf8().constData());
}

struct Posted
{
    QString path;
    QJsonObject body;
};

// Callbacks whose press records every post.
prims::Callbacks recorder(QList<Posted> &posts)
{
    prims::Callbacks cb;
    cb.press = [&posts](const QString &path, const QJsonObject &body) { posts.append({path, body}); };
    return cb;
}

} // namespace

class TestFields : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { testsupport::isolateConfig(); }

    void identity_data();
    void identity();
    void dateTime_data();
    void dateTime();
    void dateTimeInvalidValue_data();
    void dateTimeInvalidValue();
    void search_data();
    void search();
    void toggle_data();
    void toggle();
    void switchWidget();
};

void TestFields::identity_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("label");
    QTest::newRow("search with id and label")
        << u"{\"type\":\"search\",\"id\":\"sku\",\"label\":\"Article\"}"_s << u"sku"_s << u"Article"_s;
    QTest::newRow("search bare") << u"{\"type\":\"search\"}"_s << QString() << QString();
    QTest::newRow("toggle with id") << u"{\"type\":\"toggle\",\"id\":\"lamp\"}"_s << u"lamp"_s << QString();
    QTest::newRow("datetime with both") << u"{\"type\":\"datetime\",\"id\":\"due\",\"label\":\"Due\"}"_s << u"due"_s
                                        << u"Due"_s;
    QTest::newRow("datetime label only") << u"{\"type\":\"datetime\",\"label\":\"When\"}"_s << QString() << u"When"_s;
}

void TestFields::identity()
{
    QFETCH(QString, element);
    QFETCH(QString, id);
    QFETCH(QString, label);
    QWidget parent;
    QWidget *w = prims::buildPrimitive(parse(element), {}, 0, &parent);
    QVERIFY(w);
    QWidget *input = nullptr;
    if (!id.isEmpty()) {
        input = w->objectName() == u"field:"_s + id ? w : w->findChild<QWidget *>(u"field:"_s + id);
        QVERIFY(input);
        QCOMPARE(input->property("fieldId").toString(), id);
    } else {
        QVERIFY(!w->property("fieldId").isValid());
        QVERIFY(!w->objectName().startsWith(u"field:"_s));
    }
    const QList<QLabel *> labels = w->findChildren<QLabel *>(Qt::FindDirectChildrenOnly);
    if (label.isEmpty()) {
        QVERIFY(labels.isEmpty());
        return;
    }
    QCOMPARE(labels.size(), 1);
    QCOMPARE(labels.first()->text(), label);
    QVERIFY(labels.first()->styleSheet().contains(theme::toneColor(u"muted"_s).name()));
    // The label sits above the input.
    testsupport::layOut(w, 300);
    QWidget *field = input ? input : w->findChildren<QWidget *>(Qt::FindDirectChildrenOnly).last();
    QVERIFY(labels.first()->geometry().bottom() < field->geometry().top());
}

void TestFields::dateTime_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<QString>("format");
    QTest::addColumn<bool>("popup");
    QTest::addColumn<QDateTime>("value");
    QTest::addColumn<QDateTime>("min");
    QTest::addColumn<QDateTime>("max");
    const QDateTime v(QDate(2026, 3, 14), QTime(9, 30, 0));
    const QDateTime lo(QDate(2026, 3, 1), QTime(0, 0));
    const QDateTime hi(QDate(2026, 3, 31), QTime(18, 0));
    QDateTimeEdit reference;
    const QDateTime defMin = reference.minimumDateTime();
    const QDateTime defMax = reference.maximumDateTime();
    QTest::newRow("date and time") << u"{\"value\":\"2026-03-14T09:30:00\"}"_s << u"yyyy-MM-dd HH:mm:ss"_s << true << v
                                   << defMin << defMax;
    QTest::newRow("date mode") << u"{\"mode\":\"date\",\"value\":\"2026-03-14T09:30:00\"}"_s << u"yyyy-MM-dd"_s << true
                               << v << defMin << defMax;
    QTest::newRow("time mode has no popup")
        << u"{\"mode\":\"time\",\"value\":\"2026-03-14T09:30:00\"}"_s << u"HH:mm:ss"_s << false << v
        << QDateTime(v.date(), QTime(0, 0)) << QDateTime(v.date(), QTime(23, 59, 59, 999));
    QTest::newRow("bare date") << u"{\"mode\":\"date\",\"value\":\"2026-03-14\"}"_s << u"yyyy-MM-dd"_s << true
                               << QDateTime(QDate(2026, 3, 14), QTime(0, 0)) << defMin << defMax;
    QTest::newRow("range applied")
        << u"{\"value\":\"2026-03-14T09:30:00\",\"min\":\"2026-03-01T00:00:00\",\"max\":\"2026-03-31T18:00:00\"}"_s
        << u"yyyy-MM-dd HH:mm:ss"_s << true << v << lo << hi;
    QTest::newRow("value below min is raised")
        << u"{\"value\":\"2026-02-01T00:00:00\",\"min\":\"2026-03-01T00:00:00\"}"_s << u"yyyy-MM-dd HH:mm:ss"_s << true
        << lo << lo << defMax;
    QTest::newRow("max before min ignored")
        << u"{\"value\":\"2026-03-14T09:30:00\",\"min\":\"2026-03-01T00:00:00\",\"max\":\"2026-02-01T00:00:00\"}"_s
        << u"yyyy-MM-dd HH:mm:ss"_s << true << v << lo << defMax;
    QTest::newRow("malformed max ignored") << u"{\"value\":\"2026-03-14T09:30:00\",\"max\":\"soon\"}"_s
                                           << u"yyyy-MM-dd HH:mm:ss"_s << true << v << defMin << defMax;
    QTest::newRow("anything else is date and time") << u"{\"mode\":\"Date\",\"value\":\"2026-03-14T09:30:00\"}"_s
                                                    << u"yyyy-MM-dd HH:mm:ss"_s << true << v << defMin << defMax;
}

void TestFields::dateTime()
{
    QFETCH(QString, element);
    QFETCH(QString, format);
    QFETCH(bool, popup);
    QFETCH(QDateTime, value);
    QFETCH(QDateTime, min);
    QFETCH(QDateTime, max);
    QJsonObject el = parse(element);
    el.insert(u"type"_s, u"datetime"_s);
    QWidget parent;
    auto *edit = qobject_cast<QDateTimeEdit *>(prims::buildPrimitive(el, {}, 0, &parent));
    QVERIFY(edit);
    QCOMPARE(edit->displayFormat(), format);
    QCOMPARE(edit->calendarPopup(), popup);
    QCOMPARE(edit->dateTime(), value);
    QCOMPARE(edit->minimumDateTime(), min);
    QCOMPARE(edit->maximumDateTime(), max);
}

void TestFields::dateTimeInvalidValue_data()
{
    QTest::addColumn<QString>("element");
    QTest::newRow("missing") << u"{}"_s;
    QTest::newRow("garbage") << u"{\"value\":\"next tuesday\"}"_s;
    QTest::newRow("number") << u"{\"value\":20260314}"_s;
    QTest::newRow("impossible date") << u"{\"value\":\"2026-02-30T10:00:00\"}"_s;
}

// An unreadable value starts at the current date and time (compared loosely: the clock moves).
void TestFields::dateTimeInvalidValue()
{
    QFETCH(QString, element);
    QJsonObject el = parse(element);
    el.insert(u"type"_s, u"datetime"_s);
    QWidget parent;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
    auto *edit = qobject_cast<QDateTimeEdit *>(prims::buildPrimitive(el, {}, 0, &parent));
    const QDateTime after = QDateTime::currentDateTime().addSecs(1);
    QVERIFY(edit);
    QVERIFY(edit->dateTime() >= before);
    QVERIFY(edit->dateTime() <= after);
}

void TestFields::search_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("withPress");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("body");
    QTest::newRow("id is the key") << u"{\"id\":\"sku\",\"submit\":{\"path\":\"/api/find\"}}"_s << true
                                   << u"/api/find"_s << u"{\"sku\":\"KS-300 lift\"}"_s;
    QTest::newRow("query without id") << u"{\"submit\":{\"path\":\"/api/find\"}}"_s << true << u"/api/find"_s
                                      << u"{\"query\":\"KS-300 lift\"}"_s;
    QTest::newRow("body kept, same key overwritten")
        << u"{\"id\":\"q\",\"submit\":{\"path\":\"/p\",\"body\":{\"q\":\"old\",\"scope\":\"aisle\",\"n\":5}}}"_s << true
        << u"/p"_s << u"{\"q\":\"KS-300 lift\",\"scope\":\"aisle\",\"n\":5}"_s;
    QTest::newRow("typed onto the initial value")
        << u"{\"value\":\">\",\"submit\":{\"path\":\"/p\"}}"_s << true << u"/p"_s << u"{\"query\":\">KS-300 lift\"}"_s;
    QTest::newRow("no submit never posts") << u"{\"id\":\"sku\"}"_s << true << QString() << QString();
    QTest::newRow("empty path never posts") << u"{\"submit\":{\"body\":{\"a\":1}}}"_s << true << QString() << QString();
    QTest::newRow("no press callback") << u"{\"submit\":{\"path\":\"/p\"}}"_s << false << QString() << QString();
}

void TestFields::search()
{
    QFETCH(QString, element);
    QFETCH(bool, withPress);
    QFETCH(QString, path);
    QFETCH(QString, body);
    QJsonObject el = parse(element);
    el.insert(u"type"_s, u"search"_s);
    QList<Posted> posts;
    QWidget parent;
    auto *box = qobject_cast<QLineEdit *>(
        prims::buildPrimitive(el, withPress ? recorder(posts) : prims::Callbacks{}, 0, &parent));
    QVERIFY(box);
    QCOMPARE(box->placeholderText(), u"Search"_s);
    QVERIFY(box->isClearButtonEnabled());
    testsupport::layOut(&parent, 300);
    box->setFocus();
    box->end(false);
    QTest::keyClicks(box, u"KS-300 lift"_s);
    QCOMPARE(posts.size(), 0);
    QTest::keyClick(box, Qt::Key_Return);
    if (path.isEmpty()) {
        QCOMPARE(posts.size(), 0);
        return;
    }
    QCOMPARE(posts.size(), 1);
    QCOMPARE(posts.first().path, path);
    QCOMPARE(posts.first().body, parse(body));
    // A second Return posts again with the text as it now stands.
    QTest::keyClick(box, Qt::Key_Backspace);
    QTest::keyClick(box, Qt::Key_Enter);
    QCOMPARE(posts.size(), 2);
    QVERIFY(posts.last().body != posts.first().body);
}

void TestFields::toggle_data()
{
    QTest::addColumn<QString>("element");
    QTest::addColumn<bool>("withPress");
    QTest::addColumn<bool>("posts");
    QTest::addColumn<bool>("initial");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("extra");
    QTest::newRow("off to on to off") << u"{\"click\":{\"path\":\"/api/lamp\"}}"_s << true << true << false
                                      << u"/api/lamp"_s << QString();
    QTest::newRow("value in body overwritten")
        << u"{\"click\":{\"path\":\"/p\",\"body\":{\"value\":\"x\",\"lamp\":3}}}"_s << true << true << false << u"/p"_s
        << u"lamp"_s;
    QTest::newRow("starts on") << u"{\"value\":\"yes\",\"click\":{\"path\":\"/p\"}}"_s << true << true << true
                               << u"/p"_s << QString();
    QTest::newRow("click with body only still posts")
        << u"{\"click\":{\"body\":{\"k\":1}}}"_s << true << true << false << QString() << u"k"_s;
    QTest::newRow("no click") << u"{}"_s << true << false << false << QString() << QString();
    QTest::newRow("no press callback") << u"{\"click\":{\"path\":\"/p\"}}"_s << false << false << false << QString()
                                       << QString();
}

void TestFields::toggle()
{
    QFETCH(QString, element);
    QFETCH(bool, withPress);
    QFETCH(bool, posts);
    QFETCH(bool, initial);
    QFETCH(QString, path);
    QFETCH(QString, extra);
    QJsonObject el = parse(element);
    el.insert(u"type"_s, u"toggle"_s);
    QList<Posted> recorded;
    QWidget parent;
    auto *sw = qobject_cast<prims::Switch *>(
        prims::buildPrimitive(el, withPress ? recorder(recorded) : prims::Callbacks{}, 0, &parent));
    QVERIFY(sw);
    QCOMPARE(sw->isChecked(), initial);
    QCOMPARE(sw->property("pressSound").toString(), posts ? u"selector"_s : QString());
    testsupport::layOut(&parent, 200);

    QTest::mouseClick(sw, Qt::LeftButton, {}, sw->rect().center());
    QCOMPARE(sw->isChecked(), !initial);
    QTest::mouseClick(sw, Qt::LeftButton, {}, sw->rect().center());
    QCOMPARE(sw->isChecked(), initial);
    if (!posts) {
        QCOMPARE(recorded.size(), 0);
        return;
    }
    QCOMPARE(recorded.size(), 2);
    QCOMPARE(recorded.at(0).path, path);
    QCOMPARE(recorded.at(0).body.value("value"_L1), QJsonValue(!initial));
    QCOMPARE(recorded.at(1).body.value("value"_L1), QJsonValue(initial));
    if (!extra.isEmpty())
        QVERIFY(recorded.at(0).body.contains(extra));
    QCOMPARE(recorded.at(0).body.size(), extra.isEmpty() ? 1 : 2);
}

void TestFields::switchWidget()
{
    const QJsonObject el = parse(u"{\"type\":\"toggle\",\"on_text\":\"Running\",\"off_text\":\"Stopped\"}"_s);
    QWidget parent;
    auto *sw = qobject_cast<prims::Switch *>(prims::buildPrimitive(el, {}, 0, &parent));
    QVERIFY(sw);
    QCOMPARE(sw->stateText(), u"Stopped"_s);
    const QSize before = sw->sizeHint();
    sw->setFocus();
    testsupport::layOut(&parent, 200);
    QTest::keyClick(sw, Qt::Key_Space);
    QCOMPARE(sw->stateText(), u"Running"_s);
    QCOMPARE(sw->text(), u"Running"_s);
    // Either text fits without the switch changing size.
    QCOMPARE(sw->sizeHint(), before);
    QVERIFY(before.width() >= QFontMetrics(sw->font()).horizontalAdvance(u"Stopped"_s) + 38);
}

QTEST_MAIN(TestFields)
#include "tst_fields.moc"
