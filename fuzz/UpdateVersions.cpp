#include "Platform/Update/UpdateVersion.h"
#include "fuzz/Fuzzing.h"

using platform::compareVersions;
using platform::isVersion;

// The input has one version per line: checks a strict weak order among each three of them.
void fuzz(const QByteArray& input) {
    QStringList versions = QString::fromUtf8(input).split(u'\n');
    versions.resize(3);
    for (const auto& a : versions) {
        ALWAYS(compareVersions(a, a) == 0);
        ALWAYS(!isVersion(a) || compareVersions(a + u'~', a) < 0 || a.contains(u'-'));
        for (const auto& b : versions) {
            const auto order = compareVersions(a, b);
            ALWAYS((order < 0) == (compareVersions(b, a) > 0));
            for (const auto& c : versions) {
                if (order <= 0 && compareVersions(b, c) <= 0) {
                    ALWAYS(compareVersions(a, c) <= 0);
                }
            }
        }
    }
}
