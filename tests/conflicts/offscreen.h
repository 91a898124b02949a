#pragma once

#include <QApplication>

/// One application for all tests of the program, drawn nowhere. It is never destroyed: at the end of the process the
/// toolkit's own statics may go before it.
inline void beOffscreen()
{
    static int count = 1;
    static char name[] = "test_conflicts", *arguments[] = {name};
    static const bool isSet = qputenv("QT_QPA_PLATFORM", "offscreen");
    static const auto* application = new QApplication(count, arguments);
    Q_UNUSED(isSet)
    Q_UNUSED(application)
}
