#pragma once

#include "benchmarks/soak/SoakRig.h"

#include <QByteArray>

#include <span>
#include <vector>

namespace corvane {

// What a fault affects. A pair never has two faults that affect the same thing.
enum class SoakField { link, machine, way, identity, keyring, session, message, sound, user, store };
inline constexpr int soakFields = static_cast<int>(SoakField::store) + 1;

// A fault that occurs together with another one.
struct PairedFault {
    enum class Loss {
        none,
        certain,  // the link is lost
        replaced, // the program itself leaves the link for a new one
        hidden,   // it has an effect when the next link is opened
        server,   // the server is gone, and takes no orders
    };
    // What the user may have to do afterwards.
    enum Help : unsigned { nothing = 0, button = 1, signIn = 2, resume = 4, restart = 8 };

    const char* name;
    SoakField field;
    Loss loss;
    unsigned help;
    void (*strike)(SoakRig& rig);
    // Null if the order "cure" is enough.
    void (*mend)(SoakRig& rig);
};

// Two faults at the same moment. Afterwards the interview must continue, and the user may have to do only
// what one of the two calls for.
struct SoakPair {
    const PairedFault* first;
    const PairedFault* second;

    QByteArray name() const;
    // Throws SoakFailure.
    void happen(SoakRig& rig) const;
};

// Returns all pairs, in one list for each two fields, each list in random order.
std::vector<std::vector<SoakPair>> soakPairs(std::mt19937_64& random);

} // namespace corvane
