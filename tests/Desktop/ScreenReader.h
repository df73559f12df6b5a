#pragma once

#include "Utilities/Json.h"
#include "tests/Support/WaitFor.h"

#include <QCoreApplication>
#include <QList>
#include <QProcess>
#include <QRect>

#include <boost/json/array.hpp>

#include <stdexcept>

namespace corvane {

// What assistive technology is told of this process, read over the bus by another one.
class ScreenReader {
public:
    struct Node {
        QString role;
        QString name;
        QString description;
        QRect place; // on the screen
        bool focusable = false;
        QStringList actions;
        int parent = -1; // its place in the list
    };

    // All that is shown, parents first. Throws std::runtime_error when the program is not on the bus.
    QList<Node> read() const {
        QList<Node> nodes;
        const auto tree = json::parse(run({}));
        for (const auto& value : tree.as_array()) {
            const auto& object = value.as_object();
            Node node;
            node.role = json::requiredString(object, "role");
            node.name = json::requiredString(object, "name");
            node.description = json::requiredString(object, "description");
            node.focusable = json::requiredBoolean(object, "focusable");
            node.parent = static_cast<int>(json::requiredInteger(object, "parent"));
            if (const auto& place = object.at("place").as_array(); place.size() == 4) {
                const auto number = [&](size_t index) { return static_cast<int>(place[index].as_int64()); };
                node.place = {number(0), number(1), number(2), number(3)};
            }
            for (const auto& action : object.at("actions").as_array()) {
                node.actions.append(json::toQString(action.as_string()));
            }
            nodes.append(node);
        }
        return nodes;
    }
    void act(const QString& name, const QString& action) const { run({name, action}); }

private:
    // Answers come from this process's event loop.
    static QByteArray run(const QStringList& arguments) {
        for (int attempt = 0; attempt < 20; ++attempt) {
            QProcess reader;
            reader.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            reader.start(QStringLiteral(CORVANE_ACCESSIBILITY_READER),
                         QStringList{QString::number(QCoreApplication::applicationPid())} + arguments);
            waitUntil([&] { return reader.state() == QProcess::NotRunning; }, 20000);
            if (reader.exitStatus() == QProcess::NormalExit && reader.exitCode() == 0) {
                return reader.readAllStandardOutput();
            }
            QTest::qWait(100);
        }
        throw std::runtime_error("The program's accessible tree does not give " +
                                 arguments.join(u' ').toStdString());
    }
};

} // namespace corvane
