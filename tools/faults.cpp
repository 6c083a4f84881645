#include "tools/faults.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "tools/dialogs.h"
#include "tools/prompts.h"
#include "units/store.h"

#include <QBoxLayout>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace tools {

namespace {

// More would not be read; a unit answering thousands is cut rather than drawn.
constexpr int kMaxResults = 200;

// Return in the search field runs the lookup and goes no further: the dialog would otherwise take it
// for its default button, which the close row makes "Close".
class ReturnRuns final : public QObject
{
public:
    ReturnRuns(QObject *parent, std::function<void()> run)
        : QObject(parent)
        , m_run(std::move(run))
    {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent *>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                m_run();
                return true;
            }
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_run;
};

} // namespace

QString faultPath(const QString &query)
{
    return u"/api/faults?q="_s + QString::fromLatin1(QUrl::toPercentEncoding(query));
}

QString faultText(const units::Api::Reply &reply, const QString &query)
{
    if (!reply.ok)
        return u"Could not reach the unit: %1"_s.arg(reply.error);
    const QJsonArray results = prims::readArray(reply.json, "results"_L1, kMaxResults);
    if (results.isEmpty())
        return u"Nothing matches \"%1\". Try the number on its own, or a word from the message."_s.arg(query);

    QStringList lines;
    for (const QJsonValue &value : results) {
        const QJsonObject result = value.toObject();
        const QJsonValue span = result.value("span"_L1);
        const QString code =
            span.isString() && !span.toString().isEmpty() ? span.toString() : prims::valueText(result, "number"_L1);
        lines << u"%1   (fault %2)"_s.arg(prims::readText(result, "description"_L1), code);
        lines << u"%1  -  %2"_s.arg(prims::readText(result, "section"_L1), prims::readText(result, "type"_L1));
        if (const QString causes = prims::readText(result, "causes"_L1); !causes.isEmpty())
            lines << u"Why it happens"_s << causes;
        if (const QString checks = prims::readText(result, "checks"_L1); !checks.isEmpty())
            lines << u"What to check"_s << checks;
        lines << QString();
    }
    return lines.join(u'\n');
}

void faultLookup(QWidget *parent, units::Api &api, const units::Unit *selected)
{
    if (!selected) {
        infoBox(parent, u"Fault lookup"_s, u"Select a unit first."_s);
        return;
    }
    const theme::Palette &pal = theme::palette();
    QDialog *dialog = makeDialog(parent, u"What does this fault mean?"_s, 760, 560);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(makeLabel(
        u"Type the number the shuttle reported, or a few words if you do not have the number."_s, 10, pal.muted));
    if (!selected->name.isEmpty())
        layout->addWidget(makeLabel(selected->name, 9, pal.dim));

    auto *row = new QHBoxLayout;
    auto *query = new QLineEdit;
    query->setObjectName(u"faultQuery"_s);
    auto *look = new QPushButton(u"Look it up"_s);
    look->setObjectName(u"faultLookUp"_s);
    look->setProperty("kind", u"primary"_s);
    row->addWidget(query, 1);
    row->addWidget(look);
    layout->addLayout(row);

    auto *text = new QPlainTextEdit;
    text->setObjectName(u"faultText"_s);
    text->setReadOnly(true);
    text->setFont(theme::monoFont(9));
    layout->addWidget(text, 1);
    addCloseRow(dialog, layout, u"Close"_s);

    const units::Api::Target unit{selected->ip, selected->port, selected->tls};
    QPointer<units::Api> apiGuard(&api);
    const auto run = [apiGuard, unit, query, look, text] {
        if (!apiGuard)
            return;
        const QString asked = query->text();
        text->setPlainText(u"looking..."_s);
        // One lookup at a time: a second press while this one waits would nest another wait.
        query->setEnabled(false);
        look->setEnabled(false);
        const units::Api::Reply reply = units::waitFor(*apiGuard, unit, faultPath(asked), kFaultTimeoutMs);
        text->setPlainText(faultText(reply, asked));
        query->setEnabled(true);
        look->setEnabled(true);
        query->setFocus();
    };
    QObject::connect(look, &QPushButton::clicked, dialog, run);
    query->installEventFilter(new ReturnRuns(query, run));
    runDialog(dialog);
}

} // namespace tools
