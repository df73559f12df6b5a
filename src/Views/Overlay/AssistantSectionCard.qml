import QtQuick
import Corvane

// A titled text of the assistant. `tone` is the name of a colour of Theme, "secondary" for a neutral card.
CardSurface {
    id: card

    property string title
    property string symbol
    property string tone: "secondary"
    property alias content: words.content
    property CardText stream: null
    // False for a further piece of a text that is too long for a single card.
    property bool headed: true
    // Whether the Tab key stops at the text. It leaves the text as onTabPressed says.
    property alias tabStop: words.activeFocusOnTab
    // Whether the text has the focus within the focus scope around the card.
    property alias textFocus: words.focus
    readonly property alias textFocused: words.activeFocus
    readonly property bool neutral: tone === "secondary"
    readonly property color ink: Theme[tone]

    signal linkActivated(string link)
    // A handler leaves event.accepted false to let the key do what it usually does.
    signal tabPressed(int direction, var event)

    implicitHeight: words.y + words.height + 12
    fill: neutral ? Qt.alpha(Theme.control, 0.5) : Qt.alpha(ink, 0.06)
    Accessible.role: Accessible.Grouping
    Accessible.name: title

    // The left edge of the card, cut from a rounded rectangle so that it stays within the corners.
    Item {
        visible: !card.neutral
        width: 3
        height: parent.height
        clip: true

        Rectangle {
            width: 2 * radius
            height: parent.height
            radius: card.radius
            color: Qt.alpha(card.ink, 0.6)
        }
    }

    Row {
        id: header
        x: 12
        y: 12
        visible: card.headed
        spacing: 5

        Symbol {
            name: card.symbol
            size: 10
            color: card.ink
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: card.title
            textFormat: Text.PlainText
            color: card.ink
            font.pixelSize: 11
            font.weight: Font.DemiBold
        }
    }

    MarkdownView {
        id: words
        x: 12
        y: card.headed ? header.y + header.height + 6 : 12
        width: card.width - 24
        stream: card.stream
        Accessible.name: card.title
        onLinkActivated: link => card.linkActivated(link)
        Keys.onTabPressed: event => {
            event.accepted = false;
            card.tabPressed(1, event);
        }
        Keys.onBacktabPressed: event => {
            event.accepted = false;
            card.tabPressed(-1, event);
        }
    }
}
