#include "App/AppDelegate.h"

namespace corvane {

// A distribution updates the program by itself.

void AppDelegate::makeUpdater() {}

void AppDelegate::startUpdater() {}

void AppDelegate::setUpdateWindowPolicy(ActivationPolicy) {}

void AppDelegate::addUpdaterCard(AppSettingsPresenter&) {}

void AppDelegate::restart() {}

} // namespace corvane
