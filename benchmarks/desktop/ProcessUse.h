#pragma once

#include <QtGlobal>

// What the system says of a process of ours; zeros once it has ended.
struct ProcessUse {
    double resident = 0;      // MB
    double proportional = 0;  // MB, shared pages divided among their users
    double processorTime = 0; // ms since its start
    double switches = 0;      // voluntary ones since its start: how often a thread of it has waited

    static ProcessUse of(qint64 process);
};
