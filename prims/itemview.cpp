#include "prims/itemview.h"

#include "app/base/theme.h"
#include "prims/json.h"
#include "prims/text.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace prims {

namespace {

// Ctrl+C on the view copies the whole selection, not only the current cell as Qt's own view does.
class CopyKeys final : public QObject
{
public:
    explicit CopyKeys(QAbstractItemView *view)
        : QObject(view)
        , m_view(view)
    {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched != m_view)
            return false;
        if (event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress) {
            auto *key = static_cast<QKeyEvent *>(event);
            if (!key->matches(QKeySequence::Copy))
                return false;
            if (event->type() == QEvent::ShortcutOverride) {
                event->accept(); // the view handles it, before any window-wide shortcut
                return true;
            }
            if (const QString text = selectionText(m_view); !text.isEmpty())
                QApplication::clipboard()->setText(text);
            return true;
        }
        return false;
    }

private:
    QAbstractItemView *m_view;
};

// An item's own background (a toned row) under its text: the style sheet that pads the items
// would otherwise paint over it.
class ToneDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        if (const QVariant tint = index.data(Qt::BackgroundRole); tint.isValid())
            painter->fillRect(option.rect, tint.value<QBrush>());
        QStyledItemDelegate::paint(painter, option, index);
    }

private:
    Q_DISABLE_COPY_MOVE(ToneDelegate)
};

// Where an index stands in the order shown: the rows from the top level down, then its column.
std::pair<QList<int>, int> orderKey(const QModelIndex &index)
{
    QList<int> rows;
    for (QModelIndex i = index; i.isValid(); i = i.parent())
        rows.prepend(i.row());
    return {rows, index.column()};
}

// Only texts made of digits, signs, points and exponents can be numbers: the check spares the slow
// parse for the many texts that are plainly words.
bool mayBeNumber(QStringView text)
{
    bool digit = false;
    for (const QChar c : text) {
        if (c.isDigit())
            digit = true;
        else if (c != u'-' && c != u'+' && c != u'.' && c != u'e' && c != u'E' && c != u' ')
            return false;
    }
    return digit;
}

} // namespace

Cell readCell(const QJsonValue &value)
{
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    Cell cell{{}, kNone, {}, {}};
    if (value.isObject()) {
        const QJsonObject o = value.toObject();
        cell.text = readText(o, "text"_L1, valueText(o, "value"_L1));
        cell.number = readNumber(o, "value"_L1, kNone);
        cell.tone = readText(o, "tone"_L1);
        cell.click = readClick(o);
    } else {
        cell.text = valueText(value);
        cell.number = readNumber(value, kNone);
    }
    if (std::isnan(cell.number) && mayBeNumber(cell.text)) {
        bool ok = false;
        const double parsed = cell.text.toDouble(&ok);
        if (ok && std::isfinite(parsed))
            cell.number = parsed;
    }
    return cell;
}

HeaderColumn readHeaderColumn(const QJsonValue &value)
{
    HeaderColumn c;
    if (!value.isObject()) {
        c.label = valueText(value);
        return c;
    }
    const QJsonObject o = value.toObject();
    c.label = readText(o, "label"_L1);
    const QString align = readText(o, "align"_L1);
    c.align = align == "right"_L1 ? Qt::AlignRight : align == "center"_L1 ? Qt::AlignHCenter : Qt::AlignLeft;
    c.width = readInt(o, "width"_L1, 0, 0, 2000);
    return c;
}

QJsonObject readClick(const QJsonObject &o)
{
    const QJsonObject click = readObject(o, "click"_L1);
    return readText(click, "path"_L1).isEmpty() ? QJsonObject() : click;
}

int compareCells(const QString &aText, double aNumber, const QString &bText, double bNumber)
{
    const bool aNum = !std::isnan(aNumber), bNum = !std::isnan(bNumber);
    if (aNum && bNum)
        return aNumber < bNumber ? -1 : aNumber > bNumber ? 1 : 0;
    if (aNum != bNum)
        return aNum ? -1 : 1;
    // Natural order by hand: runs of digits compare by value, the rest ignoring case.
    qsizetype i = 0, j = 0;
    while (i < aText.size() && j < bText.size()) {
        if (aText[i].isDigit() && bText[j].isDigit()) {
            qsizetype ei = i, ej = j;
            while (ei < aText.size() && aText[ei].isDigit())
                ++ei;
            while (ej < bText.size() && bText[ej].isDigit())
                ++ej;
            // Leading zeros aside, a longer run of digits is the larger number.
            QStringView da = QStringView(aText).mid(i, ei - i), db = QStringView(bText).mid(j, ej - j);
            while (da.size() > 1 && da.front() == u'0')
                da = da.mid(1);
            while (db.size() > 1 && db.front() == u'0')
                db = db.mid(1);
            if (da.size() != db.size())
                return da.size() < db.size() ? -1 : 1;
            if (const int c = da.compare(db); c != 0)
                return c;
            i = ei;
            j = ej;
            continue;
        }
        const QChar ca = aText[i].toCaseFolded(), cb = bText[j].toCaseFolded();
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    return int(aText.size() - i) - int(bText.size() - j);
}

void styleItemView(QAbstractItemView *view)
{
    const theme::Palette &pal = theme::palette();
    const QColor selection = theme::blend(pal.row, pal.accent, pal.dark ? 0.35 : 0.28);
    view->setStyleSheet(
        u"QAbstractItemView { background:%1; alternate-background-color:%2; color:%3; border:1px solid %4;"
        " border-radius:5px; selection-background-color:%5; selection-color:%3; outline:0; }"
        "QAbstractItemView::item { padding:4px 8px; border:none; }"
        "QAbstractItemView::item:selected { background:%5; color:%3; }"
        "QHeaderView { background:%6; border:none; border-top-left-radius:5px; border-top-right-radius:5px; }"
        "QHeaderView::section { background:%6; color:%7; border:none; border-bottom:1px solid %4;"
        " padding:4px 8px; font-weight:bold; }"
        "QHeaderView::section:hover { color:%3; }"
        "QHeaderView::up-arrow { image:url(:/chevron-up.png); width:10px; height:6px; }"
        "QHeaderView::down-arrow { image:url(:/chevron-down.png); width:10px; height:6px; }"
        "QTableCornerButton::section { background:%6; border:none; }"_s.arg(
            pal.row.name(), pal.rowAlt.name(), pal.ink.name(), pal.edge.name(), selection.name(), pal.grey.name(),
            pal.muted.name()));
    view->setItemDelegate(new ToneDelegate(view));
    view->setFont(theme::uiFont(10));
    view->setAlternatingRowColors(true);
    view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    view->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // As wide as the content asks (columns, longest item), so a view beside others in a row gets
    // its room; the height is set by fitHeight().
    view->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    view->ensurePolished();
}

QString selectionText(const QAbstractItemView *view)
{
    if (!view->selectionModel())
        return {};
    QModelIndexList indexes = view->selectionModel()->selectedIndexes();
    QList<std::pair<std::pair<QList<int>, int>, QModelIndex>> ordered;
    ordered.reserve(indexes.size());
    for (const QModelIndex &i : indexes)
        ordered.append({orderKey(i), i});
    std::sort(ordered.begin(), ordered.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QString text;
    QModelIndex previous;
    for (const auto &[key, index] : ordered) {
        if (previous.isValid())
            text += (index.row() == previous.row() && index.parent() == previous.parent()) ? u'\t' : u'\n';
        const QVariant copy = index.data(kCopyRole);
        text += copy.isValid() ? copy.toString() : index.data(Qt::DisplayRole).toString();
        previous = index;
    }
    return text;
}

void copyOnCopyKeys(QAbstractItemView *view)
{
    view->installEventFilter(new CopyKeys(view));
}

void fitHeight(QAbstractItemView *view, int contentHeight, const QHeaderView *header, bool scrolls)
{
    view->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    view->ensurePolished();
    const int headerHeight = header && !header->isHidden() ? header->sizeHint().height() : 0;
    view->setFixedHeight(contentHeight + headerHeight + 2 * view->frameWidth());
}

int maxRows(const QJsonObject &element, int def)
{
    return readInt(element, "max_rows"_L1, def, 1, 100);
}

void sortOnHeaderClick(QAbstractItemView *view, QHeaderView *header)
{
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(true);
    header->setSortIndicator(-1, Qt::AscendingOrder);
    QObject::connect(header, &QHeaderView::sortIndicatorChanged, view, [view](int column, Qt::SortOrder order) {
        if (view->model())
            view->model()->sort(column, order);
    });
}

void postClicks(QAbstractItemView *view, const Callbacks &cb)
{
    if (!cb.press)
        return;
    QObject::connect(view, &QAbstractItemView::activated, view, [press = cb.press](const QModelIndex &index) {
        const QJsonObject click = index.data(kClickRole).toJsonObject();
        const QString path = readText(click, "path"_L1);
        if (!path.isEmpty())
            press(path, readObject(click, "body"_L1));
    });
}

} // namespace prims
