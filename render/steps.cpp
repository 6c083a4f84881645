#include "render/steps.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/wraprow.h"
#include "render/section.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace render {

namespace {

struct StepInfo
{
    QString id;
    QString label;
    bool completed = false;
    bool current = false;
    bool locked = false;
    bool issue = false;
};

StepInfo readStep(const QJsonObject &o)
{
    StepInfo s;
    s.id = prims::readText(o, "id"_L1);
    s.label = prims::readText(o, "label"_L1);
    s.completed = prims::readFlag(o, "completed"_L1, false);
    s.current = prims::readFlag(o, "current"_L1, false);
    s.locked = prims::readFlag(o, "locked"_L1, false);
    s.issue = prims::readFlag(o, "issue"_L1, false);
    return s;
}

int currentStep(const QJsonArray &steps)
{
    for (qsizetype i = 0; i < steps.size(); ++i) {
        if (readStep(steps.at(i).toObject()).current)
            return int(i);
    }
    return -1;
}

void askToView(const Actions &actions, const QString &stepId)
{
    if (actions.press)
        actions.press(viewStepPress(stepId));
}

StepCell *stepCell(const StepInfo &step, int position, bool shown, const Actions &actions, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    const QString tone = step.issue ? u"error"_s : step.completed ? u"ok"_s : u"idle"_s;

    auto onRelease = [actions, step] {
        if (step.locked) {
            if (actions.warnBox)
                actions.warnBox(
                    u"Not yet"_s,
                    u"%1 has not been done. Steps run in order - finish the current one first."_s.arg(step.label));
            return;
        }
        askToView(actions, step.id);
    };
    auto *cell = new StepCell(actions, step.id, step.label, onRelease, parent);
    cell->setObjectName(u"stepCell"_s);

    // Finished, failed and current steps stand out on their tone's soft colour; the rest stay
    // on the neutral surface. The step on show gets a heavier border.
    QColor background = pal.surface;
    QColor border = pal.edge;
    if (step.issue) {
        background = theme::toneSoft(u"error"_s);
        border = pal.error;
    } else if (step.completed) {
        background = theme::toneSoft(u"ok"_s);
        border = pal.ok;
    } else if (step.current) {
        background = theme::blend(pal.surface, pal.accent, 0.16);
        border = pal.accent;
    }
    cell->setStyleSheet(u"QFrame#stepCell { background:%1; border:%2px solid %3; border-radius:6px; }"_s.arg(
        background.name(), QString::number(shown ? 2 : 1), border.name()));

    auto *box = new QVBoxLayout(cell);
    box->setContentsMargins(9, 5, 9, 5);
    box->setSpacing(1);
    const QString top = step.issue ? u"PROBLEM"_s : step.completed ? u"DONE"_s : u"STEP %1"_s.arg(position + 1);
    prims::TextLabel *topLabel = prims::textLabel(top, 8, theme::toneColor(tone), true, false, cell);
    topLabel->setObjectName(u"stepTag"_s);
    topLabel->setSelectable(false);
    box->addWidget(topLabel);
    prims::TextLabel *name = prims::textLabel(step.label, 9, step.completed ? pal.muted : pal.ink, false, false, cell);
    name->setObjectName(u"stepLabel"_s);
    // Selectable text would swallow the release that views the step.
    name->setSelectable(false);
    box->addWidget(name);
    box->addStretch(1);

    if (step.completed)
        cell->setCursor(Qt::PointingHandCursor);
    return cell;
}

QWidget *currentBanner(const StepInfo &current, const Actions &actions, QWidget *parent)
{
    const theme::Palette &pal = theme::palette();
    auto *banner = new QFrame(parent);
    banner->setObjectName(u"stepBanner"_s);
    banner->setStyleSheet(u"QFrame#stepBanner { background:%1; border:1px solid %2; border-radius:6px; }"_s.arg(
        theme::blend(pal.surface, pal.accent, 0.10).name(), pal.accent.name()));
    auto *box = new QHBoxLayout(banner);
    box->setContentsMargins(12, 6, 8, 6);
    box->setSpacing(10);
    QLabel *text = prims::textLabel(u"Current step: "_s + current.label, 10, pal.ink, false, false, banner);
    text->setObjectName(u"currentStepText"_s);
    box->addWidget(text, 1);
    auto *back = new QPushButton(u"Back to the current step"_s, banner);
    back->setObjectName(u"backToCurrentStep"_s);
    back->setProperty("kind", u"primary"_s);
    back->setProperty("pressSound", u"submit"_s);
    back->setCursor(Qt::PointingHandCursor);
    QObject::connect(back, &QPushButton::clicked, back, [actions] { askToView(actions, QString()); });
    box->addWidget(back, 0, Qt::AlignVCenter);
    return banner;
}

} // namespace

StepCell::StepCell(const Actions &actions, const QString &id, const QString &label, std::function<void()> onRelease,
                   QWidget *parent)
    : QFrame(parent)
    , m_actions(actions)
    , m_id(id)
    , m_label(label)
    , m_onRelease(std::move(onRelease))
{}

void StepCell::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()) && m_onRelease)
        m_onRelease();
    QFrame::mouseReleaseEvent(event);
}

Press viewStepPress(const QString &stepId)
{
    Press p;
    p.then = QString::fromLatin1(kViewStepThen);
    p.body.insert("step"_L1, stepId);
    return p;
}

bool isViewStepPress(const Press &press)
{
    return press.path.isEmpty() && press.then == QLatin1StringView(kViewStepThen);
}

int shownStep(const QJsonArray &steps, const QString &viewedStep)
{
    if (steps.isEmpty())
        return -1;
    if (!viewedStep.isEmpty()) {
        for (qsizetype i = 0; i < steps.size(); ++i) {
            if (readStep(steps.at(i).toObject()).id == viewedStep)
                return int(i);
        }
    }
    const int current = currentStep(steps);
    return current >= 0 ? current : int(steps.size() - 1);
}

QWidget *steps(const QJsonArray &steps, const Actions &actions, QWidget *parent)
{
    const int shown = shownStep(steps, actions.viewedStep);
    if (shown < 0)
        return nullptr;
    const theme::Palette &pal = theme::palette();

    auto *block = new QWidget(parent);
    block->setObjectName(u"steps"_s);
    auto *box = new QVBoxLayout(block);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(8);

    // Cells of one width side by side; when they no longer fit, they go on in more lines of
    // the same columns instead of squeezing their words.
    auto *strip = new QWidget(block);
    strip->setObjectName(u"stepStrip"_s);
    auto *stripBox = new prims::WrapRow(strip, 0, 6, prims::WrapRow::Fill::Grid);
    for (qsizetype i = 0; i < steps.size(); ++i) {
        const StepInfo step = readStep(steps.at(i).toObject());
        stripBox->addWidget(stepCell(step, int(i), i == shown, actions, strip));
    }
    box->addWidget(strip);

    const QJsonObject shownObject = steps.at(shown).toObject();
    const StepInfo step = readStep(shownObject);
    QLabel *title =
        prims::textLabel(step.label + (step.completed ? u"  -  done"_s : QString()), 13, pal.ink, true, false, block);
    title->setObjectName(u"shownStepTitle"_s);
    box->addWidget(title);

    const int current = currentStep(steps);
    if (current >= 0 && current != shown)
        box->addWidget(currentBanner(readStep(steps.at(current).toObject()), actions, block));

    QJsonObject body;
    body.insert("elements"_L1, prims::readArray(shownObject, "elements"_L1, 4000));
    body.insert("sections"_L1, prims::readArray(shownObject, "nested"_L1, 400));
    if (QWidget *w = section(body, actions, 0, block))
        box->addWidget(w);
    return block;
}

} // namespace render
