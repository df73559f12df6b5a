// Another program as assistive technology sees it, from outside and over the bus:
//   AccessibilityReader PROCESS                what it shows, as a JSON array, parents first
//   AccessibilityReader PROCESS NAME ACTION    has the control of that name do the action
// Ends with 1 when the program is not on the bus, or has no such control or action.
#include "Utilities/Json.h"

#include <boost/json/array.hpp>

#include <QCoreApplication>

#include <atspi/atspi.h>

#include <cstdio>

using namespace corvane;

namespace {

struct Release {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template<typename Object>
using Owned = std::unique_ptr<Object, Release>;
using Node = Owned<AtspiAccessible>;

QString text(gchar* owned) {
    const auto result = QString::fromUtf8(owned);
    g_free(owned);
    return result;
}

QString nameOf(const Node& node) {
    return text(atspi_accessible_get_name(node.get(), nullptr));
}

Node childOf(AtspiAccessible* node, int index) {
    return Node(atspi_accessible_get_child_at_index(node, index, nullptr));
}

Node application(guint process) {
    const Node desktop(atspi_get_desktop(0));
    for (int index = 0; index < atspi_accessible_get_child_count(desktop.get(), nullptr); ++index) {
        auto program = childOf(desktop.get(), index);
        if (program && atspi_accessible_get_process_id(program.get(), nullptr) == process) {
            return program;
        }
    }
    return {};
}

bool has(const Node& node, AtspiStateType state) {
    const Owned<AtspiStateSet> set(atspi_accessible_get_state_set(node.get()));
    return set && atspi_state_set_contains(set.get(), state);
}

QStringList actionsOf(const Node& node) {
    QStringList names;
    if (const Owned<AtspiAction> action{atspi_accessible_get_action_iface(node.get())}) {
        for (int index = 0; index < atspi_action_get_n_actions(action.get(), nullptr); ++index) {
            names.append(text(atspi_action_get_action_name(action.get(), index, nullptr)));
        }
    }
    return names;
}

boost::json::array placeOf(const Node& node) {
    boost::json::array place;
    if (const Owned<AtspiComponent> component{atspi_accessible_get_component_iface(node.get())}) {
        auto* rect = atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, nullptr);
        if (rect) {
            place = {rect->x, rect->y, rect->width, rect->height};
            g_free(rect);
        }
    }
    return place;
}

boost::json::object described(const Node& node) {
    boost::json::array actions;
    for (const auto& action : actionsOf(node)) {
        actions.push_back(json::toJson(action));
    }
    return {{"role", json::toJson(text(atspi_accessible_get_role_name(node.get(), nullptr)))},
            {"name", json::toJson(nameOf(node))},
            {"description", json::toJson(text(atspi_accessible_get_description(node.get(), nullptr)))},
            {"focusable", has(node, ATSPI_STATE_FOCUSABLE)},
            {"actions", std::move(actions)},
            {"place", placeOf(node)}};
}

// Depth first; false ends it.
bool forEachShown(AtspiAccessible* parent, int parentIndex, int& count,
                  const std::function<bool(const Node&, int)>& visit) {
    for (int index = 0; index < atspi_accessible_get_child_count(parent, nullptr); ++index) {
        const auto node = childOf(parent, index);
        if (!node || !has(node, ATSPI_STATE_SHOWING)) {
            continue;
        }
        if (!visit(node, parentIndex) || !forEachShown(node.get(), count++, count, visit)) {
            return false;
        }
    }
    return true;
}

bool act(const Node& program, const QString& name, const QString& action) {
    bool done = false;
    int count = 0;
    forEachShown(program.get(), -1, count, [&](const Node& node, int) {
        const auto place = nameOf(node) == name ? actionsOf(node).indexOf(action) : -1;
        if (place >= 0) {
            const Owned<AtspiAction> actions{atspi_accessible_get_action_iface(node.get())};
            done = atspi_action_do_action(actions.get(), static_cast<gint>(place), nullptr);
        }
        return !done;
    });
    return done;
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication reader(argc, argv);
    const auto arguments = QCoreApplication::arguments();
    if (arguments.size() < 2 || atspi_init() > 1) {
        return 2;
    }
    const auto program = application(arguments.at(1).toUInt());
    if (!program) {
        return 1;
    }
    if (arguments.size() == 4) {
        return act(program, arguments.at(2), arguments.at(3)) ? 0 : 1;
    }
    boost::json::array nodes;
    int count = 0;
    forEachShown(program.get(), -1, count, [&](const Node& node, int parent) {
        auto object = described(node);
        object["parent"] = parent;
        nodes.push_back(std::move(object));
        return true;
    });
    std::puts(json::serialize(nodes).constData());
    return 0;
}
