// The course of the powers, as the page has it.

function shownRows() {
    const last = state.rows.length > 0 ? state.rows[state.rows.length - 1][0].getTime() : 0;
    const first = last - state.minutes * 60000;
    return state.rows.filter((row) => row[0].getTime() >= first);
}

// Its own legend would put styles into the page, which takes none but those of its style sheet.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

function makePlot(home) {
    if (state.plot) state.plot.destroy();
    state.plot = null;
    if (home.meters.length === 0) return;
    const names = home.meters.map((meter) => `${meter.slaveAddress} ${nameOf(meter)}`);
    state.plot = makePowerPlot(element("plot"), rowsToPlot(home), names, {
        visibility: home.meters.map((meter) => !state.hidden.has(meter.slaveAddress)),
    });
}

function rowsToPlot(home) {
    const rows = shownRows();
    return rows.length > 0 ? rows : [[new Date(home.time), ...home.meters.map(() => null)]];
}

function showLegend(home) {
    const list = element("legend");
    list.replaceChildren();
    home.meters.forEach((meter, i) => {
        const label = make("label");
        const box = make("input");
        box.type = "checkbox";
        box.checked = !state.hidden.has(meter.slaveAddress);
        box.addEventListener("change", () => {
            if (box.checked) state.hidden.delete(meter.slaveAddress);
            else state.hidden.add(meter.slaveAddress);
            state.plot.setVisibility(i, box.checked);
        });
        const swatch = make("span", undefined, "swatch");
        swatch.style.backgroundColor = colourOf(i);
        label.append(box, swatch, make("span", nameOf(meter)));
        list.appendChild(make("li")).append(label);
    });
}

function metersOf(home) {
    return JSON.stringify(home.meters.map((meter) => [meter.slaveAddress, meter.id, meter.name]));
}

function showPlot(home) {
    if (state.plot) state.plot.updateOptions({ file: rowsToPlot(home) });
    const texts = home.meters.filter((meter) => presentPower(meter) !== null)
        .map((meter) => `${nameOf(meter)} ${powerText(presentPower(meter))}`);
    setText(element("plot-text"), texts.length > 0 ? `Now: ${texts.join(", ")}.` : "");
    element("plot").dataset.rows = String(state.rows.length);
}

// What an event adds to the line of a meter: its power if it is new, and the end of the line without
// one of the present.
function pointOf(meter) {
    const course = state.course.get(meter.slaveAddress);
    const watts = presentPower(meter);
    const isNew = meter.reading !== null && meter.reading.time !== course.last;
    if (isNew) course.last = meter.reading.time;
    if (isNew && meter.today) {
        if (course.days.length > 0 && course.days[course.days.length - 1].day === meter.today.day) course.days.pop();
        course.days.push(meter.today);
    }
    const hasEnded = watts === null && !course.isOver;
    course.isOver = watts === null;
    if (hasEnded) return NaN;
    return isNew ? watts : null;
}

// Adds what an event shows to the course of the same meters that the home began with.
function addToCourse(home) {
    const points = home.meters.map(pointOf);
    if (points.every((point) => point === null)) return;
    const time = new Date(Math.max(...home.meters.map((m) => (m.reading === null ? 0 : Date.parse(m.reading.time)))));
    state.rows.push([time, ...points]);
    const longest = time.getTime() - spans[spans.length - 1][1] * 60000;
    while (state.rows.length > 0 && (state.rows[0][0].getTime() < longest || state.rows.length > 20000)) state.rows.shift();
}
