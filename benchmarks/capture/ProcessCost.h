#pragma once

#include <QtGlobal>

// What a process has used up since its start, all threads together.
struct ProcessCost {
    double milliseconds = 0; // of processor time
    qint64 wakeUps = 0;      // voluntary context switches

    // Of threads that have ended nothing is counted.
    static ProcessCost of(qint64 process);

    ProcessCost operator-(const ProcessCost& earlier) const {
        return {milliseconds - earlier.milliseconds, wakeUps - earlier.wakeUps};
    }
    ProcessCost operator+(const ProcessCost& other) const {
        return {milliseconds + other.milliseconds, wakeUps + other.wakeUps};
    }
};
