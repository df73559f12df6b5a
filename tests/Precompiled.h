#pragma once

#include "src/Precompiled.h"

#include <QSignalSpy>
#include <QTest>
