#pragma once
// What nearly every test file uses: GoogleTest, Qt's test, file and JSON classes, and the shared
// fixtures and measures.
#include "common/AudioFixtures.h"
#include "common/LogCapture.h"
#include "common/SignalMeasure.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUrl>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <vector>
