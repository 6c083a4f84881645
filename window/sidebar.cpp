#include "window/sidebar.h"

#include "app/base/modal.h"
#include "app/base/theme.h"
#include "prims/json.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QHostAddress>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace window {

namespace {

constexpr int kWidth = 320;
constexpr int kKeyRole = Qt::UserRole;

QLabel *label(const QString &text, const QFont &font, const QColor &colour, QWidget *parent)
{
    auto *l = new QLabel(text, parent);
    l->setTextFormat(Qt::PlainText);
    l->setFont(font);
    l->setStyleSheet(u"color:%1; background:transparent;"_s.arg(colour.name()));
    return l;
}

QString pillSheet(const QString &tone)
{
    return u"color:%1; background:%2; border-radius:8px;padding:1px 7px;"_s.arg(theme::toneColor(tone).name(),
                                                                                theme::toneSoft(tone).name());
}

} // namespace

Pill pillFor(const units::Unit &unit, bool signedIn, int lockSecondsLeft, const Pill &mark)
{
    if (!unit.online())
        return {u"OFFLINE"_s, u"idle"_s};
    if (lockSecondsLeft > 0)
        return {u"LOCKED OUT %1s"_s.arg(lockSecondsLeft), u"error"_s};
    if (!mark.text.isEmpty())
        return mark;
    if (!signedIn)
        return {u"PASSCODE NEEDED"_s, u"busy"_s};
    const QJsonObject &s = unit.state;
    if (prims::readTrue(s, "commissioned"_L1))
        return {u"CONNECTED - COMMISSIONED"_s, u"ok"_s};
    const QJsonValue status = s.value("status"_L1);
    if (status.isString() && !status.toString().isEmpty())
        return {status.toString(), prims::readName(s, "status_tone"_L1, u"warn"_s)};
    // Counts are shown as the unit sent them; a wrong type reads as 0.
    const int total = s.value("total_count"_L1).toInt();
    if (total > 0)
        return {u"NEEDS COMMISSIONING %1/%2"_s.arg(s.value("completed_count"_L1).toInt()).arg(total), u"warn"_s};
    return {u"NEEDS SETUP"_s, u"warn"_s};
}

QString typeColour(const QString &type)
{
    const auto word = [&type](const char *w) {
        return QRegularExpression(u"\\b%1\\b"_s.arg(QLatin1String(w)), QRegularExpression::CaseInsensitiveOption)
            .match(type)
            .hasMatch();
    };
    if (word("shuttle"))
        return u"#B79CFF"_s;
    if (word("gtp"))
        return u"#E8D44C"_s;
    if (word("aisle"))
        return u"#7CC8F0"_s;
    return u"#5B8DB8"_s;
}

Sidebar::Sidebar(QWidget *parent)
    : QWidget(parent)
{
    const theme::Palette &p = theme::palette();
    setObjectName(u"sidebar"_s);
    setAttribute(Qt::WA_StyledBackground);
    setFixedWidth(kWidth);
    auto *box = new QVBoxLayout(this);
    box->setContentsMargins(12, 14, 12, 12);
    box->setSpacing(8);

    // The product mark.
    auto *mark = new QHBoxLayout;
    mark->setSpacing(8);
    auto *logo = new QLabel(this);
    logo->setPixmap(QPixmap(u":/kestro.png"_s).scaled(26, 26, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    mark->addWidget(logo);
    auto *name = label(u"Kestro Connect"_s, theme::uiFont(13, true), p.ink, this);
    mark->addWidget(name, 1);
    m_tools = new QToolButton(this);
    m_tools->setObjectName(u"toolMenu"_s);
    m_tools->setText(u"Tools"_s);
    m_tools->setPopupMode(QToolButton::InstantPopup);
    m_tools->setMenu(new QMenu(m_tools));
    m_tools->hide();
    mark->addWidget(m_tools);
    box->addLayout(mark);

    m_search = new QLineEdit(this);
    m_search->setObjectName(u"unitSearch"_s);
    m_search->setPlaceholderText(u"Search units..."_s);
    m_search->setClearButtonEnabled(true);
    box->addWidget(m_search);

    m_list = new QListWidget(this);
    m_list->setObjectName(u"unitList"_s);
    m_list->viewport()->installEventFilter(this);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    applySheets();

    auto *empty = new QWidget(this);
    auto *emptyBox = new QVBoxLayout(empty);
    emptyBox->setContentsMargins(4, 18, 4, 0);
    emptyBox->setSpacing(4);
    m_emptyTitle = label(QString(), theme::uiFont(10, true), p.muted, empty);
    m_emptyTitle->setObjectName(u"unitListEmpty"_s);
    m_emptyTitle->setWordWrap(true);
    m_emptyText =
        label(u"Scanning this network - a unit\nappears here when it answers."_s, theme::uiFont(9), p.dim, empty);
    m_emptyText->setObjectName(u"unitListHint"_s);
    emptyBox->addWidget(m_emptyTitle);
    emptyBox->addWidget(m_emptyText);
    emptyBox->addStretch(1);

    m_stack = new QStackedWidget(this);
    m_stack->addWidget(m_list);
    m_stack->addWidget(empty);
    box->addWidget(m_stack, 1);

    auto *edit = new QHBoxLayout;
    edit->setSpacing(6);
    auto *add = new QPushButton(u"Add by address..."_s, this);
    add->setObjectName(u"addUnit"_s);
    m_remove = new QPushButton(u"Remove"_s, this);
    m_remove->setObjectName(u"removeUnit"_s);
    m_remove->setEnabled(false);
    m_remove->setToolTip(u"Take the selected unit off the list. A unit that answers discovery comes back."_s);
    edit->addWidget(add, 1);
    edit->addWidget(m_remove);
    box->addLayout(edit);

    m_footer = label(QString(), theme::uiFont(9), p.muted, this);
    m_footer->setObjectName(u"unitFooter"_s);
    box->addWidget(m_footer);

    auto *line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setStyleSheet(u"color:%1; background:%1; max-height:1px; border:none;"_s.arg(p.edge.name()));
    box->addWidget(line);

    auto *unlockRow = new QHBoxLayout;
    unlockRow->setSpacing(6);
    m_passcode = new QLineEdit(this);
    m_passcode->setObjectName(u"passcode"_s);
    m_passcode->setEchoMode(QLineEdit::Password);
    m_passcode->setPlaceholderText(u"Passcode"_s);
    // The first thing a technician types is the passcode.
    m_passcode->setFocus();
    auto *unlock = new QPushButton(u"Unlock"_s, this);
    unlock->setObjectName(u"unlock"_s);
    unlock->setProperty("kind", u"primary"_s);
    unlockRow->addWidget(m_passcode, 1);
    unlockRow->addWidget(unlock);
    box->addLayout(unlockRow);
    auto *hint = label(u"One passcode unlocks every unit at the site."_s, theme::uiFont(8), p.dim, this);
    hint->setWordWrap(true);
    box->addWidget(hint);

    connect(m_search, &QLineEdit::textChanged, this, &Sidebar::applyFilter);
    const auto choose = [this](QListWidgetItem *item) { emit unitChosen(item->data(kKeyRole).toString()); };
    connect(m_list, &QListWidget::itemClicked, this, choose);
    // Enter on a row, from the keyboard (a double click also activates: the click chose it already).
    connect(m_list, &QListWidget::itemActivated, this, [this, choose](QListWidgetItem *item) {
        if (item->data(kKeyRole).toString() != m_current)
            choose(item);
    });
    connect(m_list, &QListWidget::currentItemChanged, this,
            [this](QListWidgetItem *item) { m_remove->setEnabled(item != nullptr); });
    // The passcode counts once it is entered: a half-typed one is never tried on a unit, where a
    // few wrong attempts lock this machine out.
    const auto enter = [this] {
        m_entered = m_passcode->text();
        emit passcodeEntered();
    };
    connect(m_passcode, &QLineEdit::returnPressed, this, enter);
    connect(unlock, &QPushButton::clicked, this, enter);
    connect(add, &QPushButton::clicked, this, &Sidebar::askForAddress);
    connect(m_remove, &QPushButton::clicked, this, [this] {
        if (QListWidgetItem *item = m_list->currentItem())
            emit removeRequested(item->data(kKeyRole).toString());
    });
    connect(m_tools->menu(), &QMenu::triggered, this, [this](QAction *a) { emit tool(a->data().toString()); });

    rebuildRows();
}

void Sidebar::applySheets()
{
    const theme::Palette &p = theme::palette();
    // The panel's own background reaches every child; buttons and boxes get theirs back.
    setStyleSheet(u"QWidget#sidebar { background:%1;border-right:1px solid %2; }QWidget { background:%1; }"_s.arg(
                      p.panel.name(), p.edge.name()) +
                  u"QPushButton { background:%1; }QPushButton:hover { background:%2; }QLineEdit { background:%3; }"
                  u"QPushButton[kind=\"primary\"] { background:%4; color:%3; border-color:%4; }"
                  u"QPushButton[kind=\"primary\"]:hover { background:%5; border-color:%5; }"_s.arg(
                      p.button.name(), p.buttonHover.name(), p.bg.name(), p.accent.name(), p.accentStrong.name()));

    m_list->setStyleSheet(
        u"QListWidget { background:%1; border:none;              outline:none; }QListWidget::item { border-radius:5px; margin:1px 0px;                    border-left:3px solid transparent; }QListWidget::item:hover { background:%3; }QListWidget::item:selected { background:%2;                             border-left:3px solid %4; }"_s
            .arg(p.panel.name(), theme::blend(p.panel, p.accent, 0.16).name(), p.buttonHover.name(), p.accent.name()));
}

void Sidebar::restyle()
{
    // The rows and pills read the palette when they are made, so they are made again.
    applySheets();
    rebuildRows();
}

void Sidebar::setPasscode(const QString &passcode)
{
    m_passcode->setText(passcode);
    m_entered = passcode;
}

void Sidebar::setUnits(const QList<units::Unit> &units)
{
    m_units = units;
    rebuildRows();
}

void Sidebar::setStatus(const QString &key, const QString &text, const QString &tone)
{
    if (text.isEmpty())
        m_marks.remove(key);
    else
        m_marks.insert(key, {text, tone});
    updatePill(key);
}

void Sidebar::setSignedIn(const QString &key, bool signedIn)
{
    m_signedIn.insert(key, signedIn);
    updatePill(key);
}

void Sidebar::setLockSeconds(const QString &key, int seconds)
{
    m_lockSeconds.insert(key, seconds);
    updatePill(key);
}

void Sidebar::updatePill(const QString &key)
{
    auto *label = findChild<QLabel *>(u"pill:"_s + key);
    if (!label)
        return;
    const Pill now = pill(key);
    if (label->text() == now.text && label->property("tone").toString() == now.tone)
        return;
    label->setText(now.text);
    label->setProperty("tone", now.tone);
    label->setStyleSheet(pillSheet(now.tone));
}

void Sidebar::setScanning(bool scanning)
{
    m_scanning = scanning;
    rebuildRows();
}

void Sidebar::setCurrent(const QString &key)
{
    m_current = key;
    const QSignalBlocker quiet(m_list);
    m_list->setCurrentItem(nullptr);
    for (int i = 0; i < m_list->count(); ++i)
        if (m_list->item(i)->data(kKeyRole).toString() == key)
            m_list->setCurrentRow(i);
    m_remove->setEnabled(m_list->currentItem() != nullptr);
}

void Sidebar::setTools(const QStringList &names)
{
    QMenu *menu = m_tools->menu();
    menu->clear();
    for (const QString &n : names)
        menu->addAction(n)->setData(n);
    m_tools->setVisible(!names.isEmpty());
}

// Each row as tall as its texts need at the list's width (a long name wraps); again whenever
// that width changes.
void Sidebar::fitRows()
{
    // The style's item margins take a few pixels on each side of the row, so the row is measured
    // that much narrower and its item made that much taller: a row one line short clips its name.
    constexpr int kItemMargins = 4;
    const int viewport = m_list->viewport()->width() > 1 ? m_list->viewport()->width() : kWidth - 30;
    const int width = std::max(1, viewport - kItemMargins);
    for (int i = 0; i < m_list->count(); ++i) {
        QListWidgetItem *item = m_list->item(i);
        if (const QWidget *row = m_list->itemWidget(item))
            item->setSizeHint(QSize(viewport, kItemMargins + (row->hasHeightForWidth() ? row->heightForWidth(width)
                                                                                       : row->sizeHint().height())));
    }
}

bool Sidebar::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_list->viewport() && event->type() == QEvent::Resize)
        fitRows();
    return QWidget::eventFilter(watched, event);
}

QString Sidebar::passcode() const
{
    return m_entered;
}

Pill Sidebar::pill(const QString &key) const
{
    for (const units::Unit &u : m_units)
        if (u.key() == key)
            return pillFor(u, m_signedIn.value(key), m_lockSeconds.value(key), m_marks.value(key));
    return {};
}

QWidget *Sidebar::rowWidget(const units::Unit &unit) const
{
    const theme::Palette &p = theme::palette();
    auto *row = new QWidget;
    row->setObjectName(u"unitRow:"_s + unit.key());
    row->setAttribute(Qt::WA_TranslucentBackground);
    row->setStyleSheet(u"background:transparent;"_s);
    auto *h = new QHBoxLayout(row);
    h->setContentsMargins(6, 5, 6, 5);
    h->setSpacing(8);

    auto *typeMark = new QLabel(row);
    typeMark->setObjectName(u"typeMark"_s);
    typeMark->setFixedSize(4, 26);
    typeMark->setToolTip(unit.type.isEmpty() ? u"type not known"_s : unit.type);
    typeMark->setStyleSheet(u"background:%1; border-radius:2px;"_s.arg(typeColour(unit.type)));
    h->addWidget(typeMark);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    auto *name = label(unit.name.isEmpty() ? unit.ip : unit.name, theme::uiFont(10, true), p.ink, row);
    name->setObjectName(u"unitName"_s);
    // A long name gives way to the pill, which is the news: it wraps onto more lines, whole.
    name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    name->setMinimumWidth(60);
    name->setWordWrap(true);
    texts->addWidget(name);
    auto *address = label(u"%1:%2"_s.arg(unit.ip).arg(unit.port), theme::uiFont(8), p.dim, row);
    address->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    texts->addWidget(address);
    h->addLayout(texts, 1);

    const Pill pill =
        pillFor(unit, m_signedIn.value(unit.key()), m_lockSeconds.value(unit.key()), m_marks.value(unit.key()));
    auto *pillLabel = new QLabel(pill.text, row);
    pillLabel->setTextFormat(Qt::PlainText);
    pillLabel->setObjectName(u"pill:"_s + unit.key());
    pillLabel->setFont(theme::uiFont(7, true));
    pillLabel->setStyleSheet(pillSheet(pill.tone));
    pillLabel->setProperty("tone", pill.tone);
    pillLabel->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    h->addWidget(pillLabel, 0, Qt::AlignVCenter);
    row->setToolTip(u"%1\n%2:%3%4%5"_s.arg(unit.name.isEmpty() ? unit.ip : unit.name, unit.ip)
                        .arg(unit.port)
                        .arg(unit.type.isEmpty() ? QString() : u"  "_s + unit.type,
                             unit.manual ? u"\nadded by hand"_s : QString()));
    return row;
}

void Sidebar::rebuildRows()
{
    const QSignalBlocker quiet(m_list);
    const int scroll = m_list->verticalScrollBar()->value();
    // The list deletes the old rows later; until then their names must not be found.
    for (int i = 0; i < m_list->count(); ++i)
        if (QWidget *old = m_list->itemWidget(m_list->item(i)))
            for (QLabel *l : old->findChildren<QLabel *>())
                l->setObjectName(QString());
    m_list->clear();
    for (const units::Unit &unit : std::as_const(m_units)) {
        auto *item = new QListWidgetItem(m_list);
        item->setData(kKeyRole, unit.key());
        QWidget *row = rowWidget(unit);
        m_list->setItemWidget(item, row);
        if (unit.key() == m_current)
            m_list->setCurrentItem(item);
    }
    fitRows();
    m_remove->setEnabled(m_list->currentItem() != nullptr);
    applyFilter();
    m_list->verticalScrollBar()->setValue(scroll);
    updateFooter();
}

void Sidebar::applyFilter()
{
    const QString needle = m_search->text().trimmed();
    int shown = 0;
    for (int i = 0; i < m_list->count() && i < m_units.size(); ++i) {
        const units::Unit &u = m_units[i];
        const bool match = needle.isEmpty() || u.name.contains(needle, Qt::CaseInsensitive) ||
                           u.key().contains(needle, Qt::CaseInsensitive) ||
                           u.type.contains(needle, Qt::CaseInsensitive) ||
                           u.unit_id.contains(needle, Qt::CaseInsensitive);
        m_list->item(i)->setHidden(!match);
        shown += match ? 1 : 0;
    }
    if (m_units.isEmpty()) {
        m_emptyTitle->setText(u"No units yet"_s);
        m_emptyText->show();
    } else if (shown == 0) {
        m_emptyTitle->setText(u"No units match the search."_s);
        m_emptyText->hide();
    }
    m_stack->setCurrentIndex(shown == 0 ? 1 : 0);
}

void Sidebar::updateFooter()
{
    int online = 0;
    for (const units::Unit &u : std::as_const(m_units))
        online += u.online() ? 1 : 0;
    m_footer->setText(m_scanning && m_units.isEmpty() ? u"scanning..."_s
                                                      : u"%1/%2 online"_s.arg(online).arg(m_units.size()));
    m_footer->setToolTip(
        u"%1 unit(s) known, %2 answering discovery - units appear automatically as they power on."_s.arg(m_units.size())
            .arg(online));
}

void Sidebar::askForAddress()
{
    QInputDialog box(this);
    box.setWindowTitle(u"Add a unit by address"_s);
    box.setLabelText(u"The unit's address, and its port when it is not 8090 (for example 10.77.0.40 or "
                     u"10.77.0.40:8443). It stays on the list even when discovery does not hear it."_s);
    box.setTextValue(QString());
    if (app::execModal(&box) != QDialog::Accepted)
        return;
    const QString text = box.textValue().trimmed();
    const qsizetype colon = text.lastIndexOf(u':');
    const QString ip = colon < 0 ? text : text.left(colon);
    bool portOk = colon < 0;
    const int port = colon < 0 ? 8090 : text.mid(colon + 1).toInt(&portOk);
    QHostAddress address;
    if (!address.setAddress(ip) || address.protocol() != QAbstractSocket::IPv4Protocol || !portOk || port < 1 ||
        port > 65535) {
        QMessageBox warn(QMessageBox::Warning, u"Not an address"_s,
                         u"\"%1\" is not an IPv4 address with an optional port, such as 10.77.0.40:8090."_s.arg(text),
                         QMessageBox::Ok, this);
        app::execModal(&warn);
        return;
    }
    emit addRequested(address.toString(), port);
}

} // namespace window
