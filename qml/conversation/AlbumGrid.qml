import QtQuick
import Velmarin

// The pictures of an album in a grid of two or three columns.
Grid {
    id: album
    property var items: []
    property real maxWidth: 320
    signal open(var info)

    readonly property int cells: items.length === 4 || items.length === 2 ? 2 : Math.min(3, items.length)
    readonly property real cell: (maxWidth - (cells - 1) * spacing) / Math.max(1, cells)
    columns: cells
    spacing: 2

    Repeater {
        model: album.items
        MediaImage {
            required property var modelData
            info: modelData
            width: album.cell
            height: album.cell
            onOpen: album.open(modelData)
        }
    }
}
