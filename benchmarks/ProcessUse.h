#pragma once

#include <QtGlobal>

// The resources that a process has used since its start, summed over its threads, and the memory that it has.
struct ProcessUse {
    double processorTime = 0; // ms
    double switches = 0;      // voluntary ones: how often its threads waited and were woken
    double resident = 0;      // MB

    // Reads the current figures. Threads that have ended are not counted. Throws std::runtime_error if the
    // process has ended.
    static ProcessUse of(qint64 process);

    // Returns the use between two readings; the memory is that of the later one.
    ProcessUse operator-(const ProcessUse& earlier) const {
        return {processorTime - earlier.processorTime, switches - earlier.switches, resident};
    }
    ProcessUse operator+(const ProcessUse& other) const {
        return {processorTime + other.processorTime, switches + other.switches, resident + other.resident};
    }
};

// Returns the memory of the process in MB, with shared pages divided among their users. Takes the system some
// milliseconds.
double proportionalMemory(qint64 process);
