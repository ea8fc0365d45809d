// The powers of meters over time, drawn by dygraphs on the page and in a report.

const colours = ["#1d6fb8", "#c4511c", "#2a9d5c", "#9a4fc4", "#b8860b", "#d6336c", "#0b8a9c", "#7a6a58"];

// Puts NaN, at which a line ends, where a meter gave nothing for so long that its last power told
// nothing any more.
function withEnds(powers, longest, isOver) {
    const points = [];
    powers.forEach(([time, watts], i) => {
        const last = isOver ? Infinity : time;
        const next = i + 1 < powers.length ? powers[i + 1][0] : last;
        points.push([time, watts]);
        if (next - time > longest) points.push([time + 1, NaN]);
    });
    return points;
}

// The rows of a plot: a time, and a power for each meter. Lines go on through null.
function plotRows(courses, longest) {
    const rows = new Map();
    courses.forEach(({ powers, isOver }, i) => {
        for (const [time, watts] of withEnds(powers, longest, isOver)) {
            if (!rows.has(time)) rows.set(time, [new Date(time), ...courses.map(() => null)]);
            rows.get(time)[i + 1] = watts;
        }
    });
    return [...rows.values()].sort((a, b) => a[0] - b[0]);
}

function colourOf(i) {
    return colours[i % colours.length];
}

function cssColour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

// Draws the line between both directions.
function drawZero(canvas, area, plot) {
    const y = plot.toDomYCoord(0);
    if (!(y >= area.y && y <= area.y + area.h)) return;
    canvas.save();
    canvas.strokeStyle = cssColour("--text");
    canvas.lineWidth = 1.5;
    canvas.beginPath();
    canvas.moveTo(area.x, y);
    canvas.lineTo(area.x + area.w, y);
    canvas.stroke();
    canvas.restore();
}

function makePowerPlot(place, rows, names, options) {
    const inWatts = (value) => `${value} W`;
    return new Dygraph(place, rows, {
        labels: ["Time", ...names],
        colors: names.map((name, i) => colourOf(i)),
        connectSeparatedPoints: true,
        includeZero: true,
        strokeWidth: 1.75,
        labelsUTC: false,
        xRangePad: 4,
        yRangePad: 12,
        axisLineColor: cssColour("--line"),
        gridLineColor: cssColour("--line"),
        axes: { x: { axisLabelWidth: 72 }, y: { axisLabelWidth: 64, valueFormatter: inWatts, axisLabelFormatter: inWatts } },
        underlayCallback: drawZero,
        ...options,
    });
}
