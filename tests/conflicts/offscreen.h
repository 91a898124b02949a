#pragma once

#include <QApplication>

/// One application for all tests of the program, drawn nowhere.
inline void beOffscreen()
{
    static int count = 1;
    static char name[] = "test_conflicts", *arguments[] = {name};
    static const bool isSet = qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication application(count, arguments);
    Q_UNUSED(isSet)
}
