import QtQuick

// The shake of a rejected input: a horizontal offset of 5 · sin(2π · shakes).
// Raising `shakes` by a whole number inside an animation runs that many full
// swings and ends at rest.
Translate {
    property real shakes: 0

    x: 5 * Math.sin(shakes * 2 * Math.PI)
    y: 0
}
