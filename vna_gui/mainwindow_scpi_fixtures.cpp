// Remote bodies: de-embedding and embedding of fixtures.
#include "mainwindow_scpi.h"

const ScpiFamily& scpiFixtureFamily()
{
    static const ScpiFamily family{"fixtures", "fixtures", {{69, 78}}, {}};
    return family;
}
