// Views on the two in-program logs: the system error queue ("Error Info").
#pragma once

#include <QDialog>

class ErrorLog;
class QPlainTextEdit;

class ErrorLogDialog : public QDialog
{
    Q_OBJECT
public:
    ErrorLogDialog(ErrorLog& log, QWidget* parent = nullptr);
    QSize sizeHint() const override { return QSize(400, 250); }
    QString Text() const;

public slots:
    void clearList();
    void updateList();

private:
    ErrorLog& log;
    QPlainTextEdit* view = nullptr;
};
