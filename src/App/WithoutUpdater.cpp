#include "App/AppDelegate.h"

namespace corvane {

// For distributions, which update the program themselves.

void AppDelegate::makeUpdater() {}

void AppDelegate::startUpdater() {}

void AppDelegate::setUpdateWindowPolicy(ActivationPolicy) {}

void AppDelegate::addUpdaterCard(AppSettingsPresenter&) {}

void AppDelegate::restart() {}

} // namespace corvane
