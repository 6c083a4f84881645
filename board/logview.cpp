#include "board/logview.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"
#include "prims/textlabel.h"

#include <QAbstractTextDocumentLayout>
#include <QFrame>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace panels {

namespace {

// Log lines and warnings kept from the end: a step's whole log, not an unbounded one.
constexpr int kLineCap = 2000;
constexpr int kWarningCap = 50;

QStringList texts(const QJsonArray &array)
{
    QStringList out;
    for (const QJsonValue &v : array)
        out << prims::valueText(v);
    return out;
}

} // namespace

LogView::LogView(QWidget *parent)
    : QPlainTextEdit(parent)
{
    setObjectName(u"logView"_s);
    setReadOnly(true);
    setFont(theme::monoFont(9));
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
}

void LogView::setLines(const QStringList &lines)
{
    const theme::Palette &p = theme::palette();
    const bool none = lines.isEmpty();
    setStyleSheet(u"background:%1; color:%2; border:none;padding:0px; %3"_s.arg(
        p.panel.name(), (none ? p.dim : p.muted).name(), none ? u"font-style:italic;"_s : QString()));
    setPlainText(none ? u"nothing logged yet"_s : lines.join(u'\n'));
    fitHeight();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void LogView::resizeEvent(QResizeEvent *event)
{
    QPlainTextEdit::resizeEvent(event);
    fitHeight();
}

void LogView::showEvent(QShowEvent *event)
{
    QPlainTextEdit::showEvent(event);
    fitHeight();
}

void LogView::fitHeight()
{
    document()->setTextWidth(viewport()->width());
    // A plain text document measures its size in lines, so the pixels are summed block by block.
    qreal used = 0;
    for (QTextBlock b = document()->begin(); b.isValid(); b = b.next())
        used += blockBoundingRect(b).height();
    const int needed = int(used) + 14;
    const int height = std::clamp(needed, kLogMinHeight, kLogMaxHeight);
    if (height != this->height() || minimumHeight() != height)
        setFixedHeight(height);
    setVerticalScrollBarPolicy(needed < kLogMaxHeight + 1 ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAsNeeded);
}

prims::TextLabel *panelLabel(const QString &text, int points, bool bold, const QColor &color, QWidget *parent)
{
    auto *label = new prims::TextLabel(text, parent);
    label->setWordWrap(true);
    label->setFont(theme::uiFont(points, bold));
    label->setStyleSheet(u"border:none; color:%1;"_s.arg(color.name()));
    return label;
}

QFrame *cardFrame(const QString &name, QWidget *parent, QVBoxLayout **box)
{
    auto *frame = new QFrame(parent);
    frame->setObjectName(name);
    *box = new QVBoxLayout(frame);
    (*box)->setContentsMargins(14, 10, 14, 10);
    return frame;
}

QWidget *logPanel(const QJsonObject &payload, QWidget *parent)
{
    const theme::Palette &p = theme::palette();
    auto *outer = new QWidget(parent);
    auto *column = new QVBoxLayout(outer);
    column->setContentsMargins(0, 0, 0, 0);

    const QStringList warnings = texts(prims::readArray(payload, "warnings"_L1, kWarningCap));
    if (!warnings.isEmpty()) {
        QVBoxLayout *box = nullptr;
        QFrame *card = cardFrame(u"card"_s, outer, &box);
        box->addWidget(panelLabel(u"Worth checking before you accept this"_s, 12, true, p.busy, card));
        for (const QString &w : warnings)
            box->addWidget(panelLabel(u"-  "_s + w, 10, false, p.ink, card));
        column->addWidget(card);
    }

    QVBoxLayout *box = nullptr;
    QFrame *frame = cardFrame(u"panel"_s, outer, &box);
    box->addWidget(panelLabel(u"LOG"_s, 8, true, p.muted, frame));
    auto *view = new LogView(frame);
    view->setLines(texts(prims::readArray(payload, "log"_L1, kLineCap)));
    box->addWidget(view);
    column->addWidget(frame);

    if (const QString error = prims::valueText(payload, "error"_L1); !error.isEmpty())
        column->addWidget(panelLabel(error, 10, false, p.error, outer));
    return outer;
}

} // namespace panels
