import QtQuick
import Corvane

// A text with inline markdown that can be selected and copied. It shows a fixed `content`, or a `stream` that grows.
TextEdit {
    id: edit

    property alias content: markdown.content
    property alias stream: markdown.stream
    property var keptSelection: null

    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    persistentSelection: true
    activeFocusOnTab: true
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    color: Theme.primary
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    font.pixelSize: 15
    Accessible.role: Accessible.EditableText
    Accessible.readOnly: true

    Keys.onPressed: event => {
        if (event.matches(StandardKey.Copy)) {
            markdown.copy(selectionStart, selectionEnd);
            event.accepted = true;
        }
    }
    Keys.onReturnPressed: {
        const link = markdown.linkAt(cursorPosition);
        if (link !== "")
            linkActivated(link);
    }

    // The document is attached once the width is known, because a long line is broken where it wraps.
    property bool complete: false
    function attach() {
        if (complete && width > 0)
            markdown.textDocument = textDocument;
    }
    onWidthChanged: attach()
    Component.onCompleted: {
        complete = true;
        attach();
    }

    MarkdownDocument {
        id: markdown
        linkColor: Theme.dark ? Theme.focus : Theme.accent

        // A selection that reaches the end of the text would grow with it.
        onAboutToEdit: edit.keptSelection = edit.selectionEnd > edit.selectionStart && edit.selectionEnd === edit.length
                       ? [edit.selectionStart, edit.selectionEnd] : null
        onEdited: {
            if (edit.keptSelection !== null)
                edit.select(edit.keptSelection[0], Math.min(edit.keptSelection[1], edit.length));
            edit.keptSelection = null;
        }
    }

    HoverHandler {
        cursorShape: edit.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.IBeamCursor
    }

    PointHandler {
        id: pointer
    }

    onActiveFocusChanged: ring.shown = activeFocus && !pointer.active

    FocusRing {
        id: ring
        anchors.margins: -5
    }
}
