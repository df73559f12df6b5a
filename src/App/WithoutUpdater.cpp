#include "AppDelegate.h"

// A distribution updates the program by itself.

void AppDelegate::makeUpdater() {}

void AppDelegate::startUpdater() {}

void AppDelegate::addUpdaterCard(AppSettingsPresenter&) {}

void AppDelegate::restart() {}
