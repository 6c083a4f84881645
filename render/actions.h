#pragma once
// What a drawn screen may ask of the session, handed to the renderer as one value. Any member may
// be empty: callers test it first, and an empty one does nothing or gives an empty result.

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

namespace render {

// One press of a button, as the window sends it to the unit.
struct Press
{
    QString path;
    QJsonObject body;
    QJsonObject confirm;
    QStringList sendFields;
    QStringList clearFields;
    QString method = QStringLiteral("POST");
    QString then = QStringLiteral("refresh");
    // The button's label, so the window can name the press in its log and messages.
    QString label;

    friend bool operator==(const Press &, const Press &) = default;
};

struct Actions
{
    std::function<void(const Press &)> press;
    std::function<void(const QString &soundName)> playSound;
    std::function<QJsonObject(const QStringList &fieldNames)> collectFields;
    std::function<QJsonObject(const QString &sourcePath)> fetch;
    std::function<QVariant(const QString &key)> stateValue;
    std::function<void(const QString &path, const QJsonObject &body)> save;
    std::function<void(const QString &title, const QString &text)> warnBox;
    std::function<bool(const QString &sectionLabel)> covered;
    std::function<void(bool)> setFlag;
    QString viewedStep;
    std::function<void(const QString &stage)> openStage;
    std::function<QString(const QString &fieldKey)> carried;
    std::function<void(const QString &fieldKey, const QString &value)> carry;
    std::function<void(const QString &line)> logLine;
};

} // namespace render
