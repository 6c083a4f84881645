#include "prims/textlabel.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace prims {

namespace {

// A word up to this many average characters keeps the label at least its width, as a QLabel's
// words do; a longer one (a hash, an address, serials run together) breaks where the line ends
// when the label gets less, so that a narrow window never has to grow for it.
constexpr int kUnbrokenChars = 12;

// Breaks the shaped text into lines `width` wide (without limit when not wrapping) and stacks
// them as QPainter does for a label's text: a leading between lines, each line on a whole pixel,
// the text's height its lines' exact heights. Stops once the lines reach `stopAt`; returns the
// height and the widest line's natural width.
std::pair<qreal, qreal> stackLines(QTextLayout &layout, qreal width, qreal stopAt = 1e9)
{
    const bool wrap = layout.textOption().wrapMode() != QTextOption::NoWrap;
    const qreal lineWidth = wrap ? std::max<qreal>(0, width) : qreal(0x01000000);
    const qreal leading = QFontMetricsF(layout.font()).leading();
    qreal height = -leading;
    qreal widest = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(lineWidth);
        height = std::ceil(height + leading);
        line.setPosition(QPointF(0, height));
        height += line.ascent() + line.descent();
        widest = std::max(widest, line.naturalTextWidth());
        if (height >= stopAt)
            break;
    }
    layout.endLayout();
    return {height, widest};
}

void setWrap(QTextLayout &layout, QTextOption::WrapMode mode, Qt::LayoutDirection direction)
{
    QTextOption option = layout.textOption();
    option.setWrapMode(mode);
    option.setTextDirection(direction);
    layout.setTextOption(option);
}

Qt::LayoutDirection directionOf(const QString &text)
{
    return text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight;
}

// The same characters, one for one, so that positions in the layout are positions in the text.
QString shownText(const QString &text)
{
    QString shown = text;
    for (QChar &c : shown) {
        if (c == u'\n')
            c = QChar::LineSeparator;
        else if (c == u'\r' || c == u'\t')
            c = u' ';
    }
    return shown;
}

// The bounding size of the lines: what a QLabel measures for its text. `widestLine`, when given,
// gets the widest line's natural width.
QSize boundingSize(QTextLayout &layout, int width, QTextOption::WrapMode mode, qreal *widestLine = nullptr)
{
    if (layout.text().isEmpty())
        return QRectF(0, 0, 0, QFontMetricsF(layout.font()).height()).toAlignedRect().size();
    setWrap(layout, mode, directionOf(layout.text()));
    const auto [height, widest] = stackLines(layout, width);
    if (widestLine)
        *widestLine = widest;
    return QRectF(0, 0, widest, height).toAlignedRect().size();
}

} // namespace

QSize textSize(const QFont &font, const QString &text, int width)
{
    QTextLayout layout(shownText(text), font);
    return boundingSize(layout, width, width < 0 ? QTextOption::NoWrap : QTextOption::WrapAtWordBoundaryOrAnywhere);
}

TextLabel::TextLabel(const QString &text, QWidget *parent)
    : QLabel(text, parent)
{
    setTextFormat(Qt::PlainText);
    // Selection is this label's own: QLabel's text interaction would lay the text out again
    // through a text document, with a wrap that never breaks a word.
    setTextInteractionFlags(Qt::NoTextInteraction);
    setSelectable(true);
}

void TextLabel::setSelectable(bool selectable)
{
    m_selectable = selectable;
    // No focus policy even when selectable: QLabel builds a text control and a text document for
    // any label that can take focus, which this label never uses. A press gives it focus instead.
    setFocusPolicy(Qt::NoFocus);
    if (selectable)
        setCursor(Qt::IBeamCursor);
    else
        unsetCursor();
    if (!selectable && hasSelection()) {
        m_anchor = m_cursor = 0;
        update();
    }
}

void TextLabel::setPrefersOneLine(bool oneLine)
{
    m_oneLine = oneLine;
    m_hints.valid = false;
    updateGeometry();
}

void TextLabel::setTextColor(const QColor &color)
{
    m_color = color;
    update();
}

void TextLabel::setCaption(const QString &caption, const QFont &font, const QColor &color, int width, int gap)
{
    m_caption.text = caption;
    m_caption.color = color;
    m_caption.layout.setText(shownText(caption));
    m_caption.layout.setFont(font);
    m_caption.layout.setCacheEnabled(true);
    m_caption.height = boundingSize(m_caption.layout, width, QTextOption::WrapAtWordBoundaryOrAnywhere).height();
    // Not in the contents margins: a style sheet sets those when it polishes the label.
    m_caption.room = std::max(0, width) + std::max(0, gap);
    m_hints.valid = false;
    updateGeometry();
}

QColor TextLabel::textColor() const
{
    return m_color.isValid() ? m_color : palette().color(foregroundRole());
}

void TextLabel::select(int start, int length)
{
    const int size = int(text().size());
    m_selected = text();
    m_anchor = std::clamp(start, 0, size);
    m_cursor = std::clamp(start + length, 0, size);
    update();
}

QString TextLabel::selection() const
{
    return hasSelection() ? text().mid(std::min(m_anchor, m_cursor), std::abs(m_cursor - m_anchor)) : QString();
}

bool TextLabel::copySelection() const
{
    if (!hasSelection())
        return false;
    QGuiApplication::clipboard()->setText(selection());
    return true;
}

QSize TextLabel::measure(int width, QTextOption::WrapMode mode) const
{
    // Lines that fit the width wrap nowhere, so their box is the unwrapped one: most labels are
    // shaped twice (unwrapped and word by word) however many widths the layouts ask about. The
    // pixel to spare keeps a line that only just fits measured for real.
    if (mode != QTextOption::NoWrap && m_unwrapped.valid && m_unwrapped.widest + 1 <= width)
        return m_unwrapped.box;
    // A layout of its own: Qt shapes the text again for every layout in any case.
    QTextLayout layout(shownText(text()), font());
    qreal widest = 0;
    const QSize box = boundingSize(layout, width, mode, &widest);
    if (mode == QTextOption::NoWrap)
        m_unwrapped = {true, widest, box};
    return box;
}

QSize TextLabel::extras() const
{
    // QLabel's room around plain text: contents margins, margin, and the indent a frame asks for.
    const QMargins cm = contentsMargins();
    int h = 2 * margin();
    int v = h;
    const Qt::Alignment align = QStyle::visualAlignment(layoutDirection(), alignment());
    int m = indent();
    if (m < 0 && frameWidth())
        m = fontMetrics().horizontalAdvance(u'x') - margin() * 2;
    if (m > 0) {
        if (align & (Qt::AlignLeft | Qt::AlignRight))
            h += m;
        if (align & (Qt::AlignTop | Qt::AlignBottom))
            v += m;
    }
    return {h + cm.left() + cm.right() + m_caption.room, v + cm.top() + cm.bottom()};
}

QSize TextLabel::sizeForWidth(int width, bool wrap) const
{
    // QLabel's own rule for plain text, so that a label whose words fit measures as one would.
    if (minimumWidth() > 0)
        width = std::max(width, minimumWidth());
    const QFontMetrics fm = fontMetrics();
    const QSize extra = extras();
    const QTextOption::WrapMode mode = wrap ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap;
    const bool tryWidth = width < 0 && wrap;
    if (tryWidth)
        width = std::min(fm.averageCharWidth() * 80, maximumSize().width());
    else if (width < 0)
        width = 2000;
    width -= extra.width();
    QSize box = measure(width, mode);
    if (tryWidth && box.height() < 4 * fm.lineSpacing() && box.width() > width / 2)
        box = measure(width / 2, mode);
    if (tryWidth && box.height() < 2 * fm.lineSpacing() && box.width() > width / 4)
        box = measure(width / 4, mode);
    box = (box + extra).expandedTo(minimumSize());
    box.setHeight(std::max(box.height(), m_caption.height));
    return box;
}

const TextLabel::Hints &TextLabel::hints() const
{
    const bool wrap = wordWrap();
    if (m_hints.valid && m_hints.wrap == wrap && m_hints.text == text())
        return m_hints;
    ensurePolished();
    m_unwrapped = {};
    Hints h;
    h.text = text();
    h.wrap = wrap;
    h.valid = true;
    if (h.text.isEmpty()) {
        // QLabel's room for a character, so that an empty label keeps its place in a row.
        const QFontMetrics fm = fontMetrics();
        h.hint = h.minimum = (QSize(fm.averageCharWidth(), fm.lineSpacing()) + extras()).expandedTo(minimumSize());
        h.hint.setHeight(std::max(h.hint.height(), m_caption.height));
        h.minimum = h.hint;
        m_hints = h;
        return m_hints;
    }
    const QSize oneLine = sizeForWidth(QWIDGETSIZE_MAX, false);
    h.hint = wrap && !m_oneLine ? sizeForWidth(-1, true) : oneLine;
    h.minimum = QSize(oneLine.width(), std::min(oneLine.height(), h.hint.height()));
    if (wrap) {
        // As wide as the widest word, as a QLabel is, unless that word is too long to keep whole.
        const int words = measure(0, QTextOption::WordWrap).width();
        const int most = kUnbrokenChars * fontMetrics().averageCharWidth();
        h.minimum.setWidth(std::max(std::min(words, most) + extras().width(), minimumWidth()));
    }
    m_hints = h;
    return m_hints;
}

QSize TextLabel::sizeHint() const
{
    return hints().hint;
}

QSize TextLabel::minimumSizeHint() const
{
    return hints().minimum;
}

int TextLabel::heightForWidth(int width) const
{
    const Hints &h = hints();
    if (h.text.isEmpty())
        return m_caption.text.isEmpty() ? -1 : h.hint.height(); // as QLabel: nothing to wrap
    if (h.hfwWidth != width) {
        m_hints.hfwWidth = width;
        m_hints.hfwHeight = sizeForWidth(width, h.wrap).height();
    }
    return m_hints.hfwHeight;
}

bool TextLabel::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::StyleChange:
    case QEvent::Polish:
    case QEvent::ContentsRectChange:
    case QEvent::LayoutDirectionChange:
        m_hints.valid = false;
        m_layoutSize = QSize();
        break;
    default:
        break;
    }
    return QLabel::event(event);
}

QRect TextLabel::documentRect() const
{
    QRect r = contentsRect().adjusted(margin() + m_caption.room, margin(), -margin(), -margin());
    const Qt::Alignment align = QStyle::visualAlignment(layoutDirection(), alignment());
    int m = indent();
    if (m < 0 && frameWidth())
        m = fontMetrics().horizontalAdvance(u'x') / 2 - margin();
    if (m > 0) {
        if (align & Qt::AlignLeft)
            r.setLeft(r.left() + m);
        if (align & Qt::AlignRight)
            r.setRight(r.right() - m);
        if (align & Qt::AlignTop)
            r.setTop(r.top() + m);
        if (align & Qt::AlignBottom)
            r.setBottom(r.bottom() - m);
    }
    return r;
}

QPointF TextLabel::layOutForPaint()
{
    const QRect r = documentRect();
    if (m_layoutSize == size() && m_layoutText == text())
        return m_origin;
    m_layoutSize = size();
    m_layoutText = text();

    // Placed as QPainter places a label's text in its rectangle: aligned as a whole vertically,
    // line by line horizontally, clipped only when it does not fit.
    const Qt::LayoutDirection direction = directionOf(text());
    const Qt::Alignment align = QStyle::visualAlignment(direction, alignment());
    m_layout.setText(shownText(text()));
    m_layout.setFont(font());
    m_layout.setCacheEnabled(true);
    setWrap(m_layout, wordWrap() ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap, direction);
    // Lines past the bottom would be clipped away: they are not laid out.
    const auto [height, widest] = stackLines(m_layout, r.width(), r.height());
    for (int i = 0; i < m_layout.lineCount(); ++i) {
        QTextLine line = m_layout.lineAt(i);
        qreal x = 0;
        if (align & Qt::AlignRight)
            x = r.width() - line.horizontalAdvance();
        else if (align & Qt::AlignHCenter)
            x = (r.width() - line.horizontalAdvance()) / 2;
        line.setPosition(QPointF(x, line.y()));
    }
    qreal y = 0;
    if (align & Qt::AlignBottom)
        y = r.height() - height;
    else if (align & Qt::AlignVCenter)
        y = (r.height() - height) / 2;
    qreal boundsX = 0;
    if (align & Qt::AlignRight)
        boundsX = r.width() - widest;
    else if (align & Qt::AlignHCenter)
        boundsX = (r.width() - widest) / 2;
    m_origin = QPointF(r.x(), r.y() + y);
    m_clip = !QRectF(r).contains(QRectF(r.x() + boundsX, r.y() + y, widest, height));
    return m_origin;
}

void TextLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    drawFrame(&painter);
    if (!m_caption.text.isEmpty()) {
        painter.setPen(QPen(m_caption.color, 1));
        m_caption.layout.draw(&painter, contentsRect().topLeft());
    }
    if (text().isEmpty())
        return;
    const QPointF origin = layOutForPaint();
    painter.setPen(m_color.isValid() ? QPen(m_color, 1) : QPen(palette().brush(foregroundRole()), 1));
    if (m_clip)
        painter.setClipRect(documentRect(), Qt::IntersectClip);
    QList<QTextLayout::FormatRange> selections;
    if (hasSelection()) {
        QTextLayout::FormatRange range;
        range.start = std::min(m_anchor, m_cursor);
        range.length = std::abs(m_cursor - m_anchor);
        range.format.setBackground(palette().brush(QPalette::Highlight));
        range.format.setForeground(palette().brush(QPalette::HighlightedText));
        selections.append(range);
    }
    m_layout.draw(&painter, origin, selections);
}

int TextLabel::positionAt(const QPoint &point)
{
    const QPointF origin = layOutForPaint();
    const int lines = m_layout.lineCount();
    if (lines == 0)
        return 0;
    const QPointF p = QPointF(point) - origin;
    int index = 0;
    while (index + 1 < lines && p.y() >= m_layout.lineAt(index).rect().bottom())
        ++index;
    const QTextLine line = m_layout.lineAt(index);
    return line.xToCursor(p.x() - line.x());
}

void TextLabel::mousePressEvent(QMouseEvent *event)
{
    if (!m_selectable || event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    setFocus(Qt::MouseFocusReason);
    m_anchor = m_cursor = positionAt(event->position().toPoint());
    m_selected = text();
    m_selecting = true;
    update();
}

void TextLabel::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_selecting) {
        event->ignore();
        return;
    }
    m_cursor = positionAt(event->position().toPoint());
    update();
}

void TextLabel::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_selecting) {
        event->ignore();
        return;
    }
    m_selecting = false;
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (hasSelection() && clipboard->supportsSelection())
        clipboard->setText(selection(), QClipboard::Selection);
}

void TextLabel::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (!m_selectable || event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    // The run between white space: a serial number or an address whole, dashes and colons too.
    const QString all = text();
    const int at = positionAt(event->position().toPoint());
    int start = std::min(at, int(all.size()));
    int end = start;
    while (start > 0 && !all.at(start - 1).isSpace())
        --start;
    while (end < all.size() && !all.at(end).isSpace())
        ++end;
    select(start, end - start);
}

void TextLabel::keyPressEvent(QKeyEvent *event)
{
    if (m_selectable && event->matches(QKeySequence::Copy)) {
        copySelection();
        return;
    }
    if (m_selectable && event->matches(QKeySequence::SelectAll)) {
        select(0, int(text().size()));
        return;
    }
    event->ignore();
}

void TextLabel::contextMenuEvent(QContextMenuEvent *event)
{
    if (!m_selectable) {
        event->ignore();
        return;
    }
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction *copy = menu->addAction(tr("&Copy"), this, [this] { copySelection(); });
    copy->setEnabled(hasSelection());
    menu->addAction(tr("Select All"), this, [this] { select(0, int(text().size())); });
    menu->popup(event->globalPos());
}

void TextLabel::focusInEvent(QFocusEvent *event)
{
    // Not QLabel's: it would build the text control that this label does without.
    QFrame::focusInEvent(event);
}

void TextLabel::focusOutEvent(QFocusEvent *event)
{
    if (event->reason() != Qt::ActiveWindowFocusReason && event->reason() != Qt::PopupFocusReason && hasSelection()) {
        m_anchor = m_cursor = 0;
        update();
    }
    QFrame::focusOutEvent(event);
}

} // namespace prims
