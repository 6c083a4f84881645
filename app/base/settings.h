#pragma once
// The per-user configuration folder and the settings file in it. Every layer reads settings
// (the theme, the text scale, sounds, the window, the tools), so they live at the bottom.

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

namespace app {

// The platform's application configuration folder (home + "/.config/Kestro Connect" when it
// names none), created with its parents every time it is asked for.
QString configDir();
QString configPath(const QString &fileName);

// settings.json as an object; a missing or corrupt file reads as empty.
QJsonObject loadSettings();
// Replaces the whole file.
void saveSettings(const QJsonObject &settings);

// The one writer every save goes through: an atomic save file, indented JSON, silent on failure.
bool writeJsonFile(const QString &path, const QJsonDocument &document);
// Reads a JSON file; a missing, unreadable or corrupt file gives an empty document.
QJsonDocument readJsonFile(const QString &path);

} // namespace app
