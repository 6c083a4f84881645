// docs/elements.md cannot rot: every ```json example in it is drawn inside a section and must draw
// without the needs-update note, and every element type and field kind this client draws has one.

#include "app/base/theme.h"
#include "prims/registry.h"
#include "render/element.h"
#include "render/fields.h"
#include "render/screen.h"
#include "support/widgets.h"

#include <QFile>
#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLayout>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QStringList examples()
{
    QFile file(testsupport::sourceDir() + u"/docs/elements.md"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    QStringList blocks;
    static const QRegularExpression fence(u"^```json\\n(.*?)^```"_s,
                                          QRegularExpression::MultilineOption |
                                              QRegularExpression::DotMatchesEverythingOption);
    for (auto it = fence.globalMatch(text); it.hasNext();)
        blocks << it.next().captured(1);
    return blocks;
}

QString needsUpdateText(const QWidget *root)
{
    QStringList texts;
    for (const QFrame *frame : root->findChildren<QFrame *>(u"needsUpdate"_s))
        for (const QLabel *label : frame->findChildren<QLabel *>())
            texts << label->text();
    return texts.join(u' ');
}

} // namespace

class TestElementDocs final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        testsupport::isolateConfig();
        theme::setTheme(u"Kestro Dark"_s);
        QVERIFY2(examples().size() > 40, "docs/elements.md has too few examples (or was not found)");
    }

    void exampleDraws_data()
    {
        QTest::addColumn<QString>("example");
        int n = 0;
        for (const QString &block : examples()) {
            const QString type = QJsonDocument::fromJson(block.toUtf8()).object().value("type"_L1).toString();
            QTest::addRow("%d %s", ++n, qPrintable(type)) << block;
        }
    }
    void exampleDraws()
    {
        QFETCH(QString, example);
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(example.toUtf8(), &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString()));
        const QJsonObject el = doc.object();
        const QString type = el.value("type"_L1).toString();
        QVERIFY(!type.isEmpty());

        std::unique_ptr<QWidget> root(render::screen(testsupport::oneSection({el}, u"Example"_s), {}));
        testsupport::layOut(root.get(), 700);
        auto *card = root->findChild<QFrame *>(u"card"_s);
        QVERIFY(card);
        QVERIFY2(card->layout()->count() >= 2, "the example drew nothing"); // the title and the element
        const QString note = needsUpdateText(root.get());
        // Panels are drawn by the board layer: until a build has it, a panel may show the note.
        if (type == "panel"_L1)
            QVERIFY(note.isEmpty() || note.contains(u"element 'panel'"_s));
        else
            QVERIFY2(note.isEmpty(), qPrintable(note));
    }

    // Every type this client draws, and every field kind, has an example.
    void everyTypeDocumented()
    {
        QSet<QString> types, kinds;
        for (const QString &block : examples()) {
            const QJsonObject el = QJsonDocument::fromJson(block.toUtf8()).object();
            types.insert(el.value("type"_L1).toString());
            if (el.value("type"_L1) == "field"_L1)
                kinds.insert(el.value("kind"_L1).toString());
        }
        QStringList missing;
        for (const QString &t : render::ownTypeNames() + prims::primitiveNames())
            if (!types.contains(t))
                missing << t;
        for (const QString &k : render::fieldKinds())
            if (!kinds.contains(k))
                missing << u"field kind "_s + k;
        QVERIFY2(missing.isEmpty(), qPrintable(u"no example for: "_s + missing.join(u", "_s)));
    }
};

QTEST_MAIN(TestElementDocs)
#include "tst_elementdocs.moc"
