#pragma once

#include <QtGlobal>

// What a process has used up since its start, all its threads together, and what memory it has.
struct ProcessUse {
    double processorTime = 0; // ms
    double switches = 0;      // voluntary ones: how often a thread of it has waited, and was woken
    double resident = 0;      // MB

    // Of threads that have ended nothing is counted. Throws std::runtime_error when the process has ended.
    static ProcessUse of(qint64 process);

    // Of a stretch of time: the memory is that of its end.
    ProcessUse operator-(const ProcessUse& earlier) const {
        return {processorTime - earlier.processorTime, switches - earlier.switches, resident};
    }
    ProcessUse operator+(const ProcessUse& other) const {
        return {processorTime + other.processorTime, switches + other.switches, resident + other.resident};
    }
};

// MB of the process, shared pages divided among their users. Costs the system some milliseconds.
double proportionalMemory(qint64 process);
