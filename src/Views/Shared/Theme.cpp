#include "Views/Shared/Theme.h"

#include "Platform/Desktop/Appearance.h"

#include <QQmlEngine>

namespace corvane {

Theme& Theme::shared() {
    static Theme theme;
    return theme;
}

Theme* Theme::create(QQmlEngine*, QJSEngine*) {
    QQmlEngine::setObjectOwnership(&shared(), QQmlEngine::CppOwnership);
    return &shared();
}

void Theme::follow(platform::Appearance* appearance) {
    QObject::disconnect(m_following);
    if (!appearance) {
        setDark(false);
        return;
    }
    const auto take = [this, appearance] { setDark(appearance->effective() == platform::ColorScheme::dark); };
    m_following = connect(appearance, &platform::Appearance::effectiveChanged, this, take);
    take();
}

void Theme::setDark(bool dark) {
    if (std::exchange(m_dark, dark) != dark) {
        Q_EMIT changed();
    }
}

} // namespace corvane
