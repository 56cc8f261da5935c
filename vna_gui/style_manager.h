// The application's look: a base style sheet whose colours and images are variables, filled in
// from the theme's variable sheet and from the accent colour of the colour preferences.
#pragma once

#include <QHash>
#include <QString>

class StyleManager
{
public:
    // Reads the theme's variable sheet (2 dark, anything else light), derives the accent shades
    // and applies the result to the whole application. Unless quiet, a small box says so while
    // the sheet is applied.
    static void SetMode(int mode, bool quiet);
    // Rebuilds the sheet from the base sheet and the present variables, and applies it.
    static void Update(bool quiet);
    // Sets --accent-1 to --accent-4 from the colour preferences' accent for the theme.
    static void SetAccentColor(int mode);
    // Takes the declarations of the sheet's ":root { ... }" block as variables; a sheet without
    // one leaves the variables as they are.
    static void IngestStyleVariables(const QString& sheet);
    // The base sheet with every "var(--name)" of a known variable replaced by its value.
    static QString GenerateStylesheet(const QString& base);
    static void ApplyStylesheet(const QString& sheet, bool quiet);

    // A variable's value text, empty when it is not defined.
    static QString Variable(const QString& name);
    static const QHash<QString, QString>& Variables();

    // Makes the preferences apply their program style through this class, with the
    // application font at the preferred size.
    static void Install();

private:
    static QHash<QString, QString>& VariableTable();
};
