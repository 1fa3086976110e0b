import QtQuick
import Velmarin
import Velmarin.Models

// A symbol by its name, drawn from the bundled icon font.
Text {
    property string symbol
    property int size: Theme.iconSize

    text: AppModel.icon(symbol)
    font.family: Theme.iconFamily
    font.pixelSize: size
    color: Theme.text
    horizontalAlignment: Text.AlignHCenter
    verticalAlignment: Text.AlignVCenter
    Accessible.ignored: true
}
