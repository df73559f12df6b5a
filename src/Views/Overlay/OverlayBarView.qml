import QtQuick
import Corvane

// The root view of the floating panel: the bar, and under it a dialog, the response or the onboarding strip.
FocusScope {
    id: root

    required property OverlayBarPresenter presenter
    property Item focusBeforeDialog: null
    readonly property var drawn: {
        if (presenter.isHidden)
            return [];
        const rects = [Qt.rect(column.x, 0, bar.width, bar.height)];
        if (content.item)
            rects.push(Qt.rect(column.x, content.y, content.width, content.height));
        if (popover.visible)
            rects.push(Qt.rect(popover.x - popover.shadow, popover.y - popover.shadow,
                               popover.width + 2 * popover.shadow, popover.height + 2 * popover.shadow));
        return rects;
    }

    function moveIntoDialog(first: Item) {
        if (!focusBeforeDialog)
            focusBeforeDialog = Window.activeFocusItem;
        first.forceActiveFocus(Qt.TabFocusReason);
    }

    focus: true
    enabled: !presenter.isHidden
    opacity: presenter.isHidden ? 0 : 1
    onDrawnChanged: presenter.reportDrawn(drawn)
    Component.onCompleted: presenter.reportDrawn(drawn)
    Window.onActiveChanged: if (!Window.active) presenter.status.showPopover = false
    Keys.onEscapePressed: event => {
        if (popover.visible)
            presenter.status.showPopover = false;
        else if (presenter.showingDialog)
            presenter.pressDialogButton(0);
        else
            event.accepted = false;
    }

    Column {
        id: column
        anchors.horizontalCenter: parent.horizontalCenter

        BarControls {
            id: bar
            presenter: root.presenter
        }

        Loader {
            id: content
            readonly property Component wanted: root.presenter.showingDialog ? dialogContent
                                              : root.presenter.showsResponse ? response
                                              : root.presenter.onboardingStripVisible ? onboardingStrip : null
            sourceComponent: wanted
        }
    }

    // A click outside the popover closes it and then takes its usual effect.
    MouseArea {
        anchors.fill: parent
        visible: popover.visible
        onPressed: mouse => {
            const icon = bar.statusIcon;
            if (!icon.contains(mapToItem(icon, mouse.x, mouse.y)))
                root.presenter.status.showPopover = false;
            mouse.accepted = false;
        }
    }

    WsStatusPopover {
        id: popover
        x: Math.min(column.x + bar.statusCentre - width / 2, root.width - width - shadow)
        y: bar.height + 4
        visible: root.presenter.status.showPopover
        presenter: root.presenter.status
        onVisibleChanged: {
            if (visible)
                takeFocus();
            else if (root.Window.active)
                bar.statusIcon.forceActiveFocus();
        }
    }

    Component {
        id: dialogContent
        DialogCard {
            presenter: root.presenter
            strength: root.presenter.materialStrength
            onOpened: first => root.moveIntoDialog(first)
            Component.onDestruction: {
                root.focusBeforeDialog?.forceActiveFocus(Qt.OtherFocusReason);
                root.focusBeforeDialog = null;
            }
        }
    }

    Component {
        id: response
        ResponsePopoverView {
            width: bar.width
            height: Math.max(0, root.presenter.panelHeight - bar.height)
            presenter: root.presenter.response
        }
    }

    Component {
        id: onboardingStrip
        OnboardingStrip {
            presenter: root.presenter
            strength: root.presenter.materialStrength
        }
    }
}
