// What the Help menu opens: the user manual installed beside the program, the maker's website
// and its support forums. Everything goes through one opener, the desktop's by default, which
// tests replace so that no browser starts.
#pragma once

#include <QString>
#include <QUrl>
#include <functional>

using UrlOpener = std::function<bool(const QUrl&)>;

// Replaces the opener; an empty one restores the desktop's (QDesktopServices).
void SetUrlOpener(UrlOpener opener);
bool OpenUrl(const QUrl& url);

QUrl WebsiteUrl();
QUrl SupportForumsUrl();

// The manual in a folder given as a URL (GetManualsDir()): the HTML rendered at build time,
// else the Markdown it is made from; an empty URL when the folder holds neither.
QUrl UserManualUrl(const QString& manualsDir);
// File names of the two forms.
QString ManualHtmlName();
QString ManualMarkdownName();
