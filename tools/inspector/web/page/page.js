"use strict";

// Fills the page with /api/v1/home, and then with each event of /api/v1/events. Texts of the log
// are only ever put in as texts.

const healthTexts = {
    good: "● Good",
    failing: "▲ Failing",
    silent: "■ Silent",
    unknown: "? Unknown",
};
const colours = ["#1d6fb8", "#c4511c", "#2a9d5c", "#9a4fc4", "#b8860b", "#d6336c", "#0b8a9c", "#7a6a58"];
const spans = [["15 minutes", 15], ["1 hour", 60], ["6 hours", 360]];

const state = {
    home: null,
    receivedAt: 0,
    course: new Map(),
    rows: [],
    hidden: new Set(),
    minutes: 360,
    plot: null,
    // Those that the course is of.
    meters: "",
};

const element = (id) => document.getElementById(id);

function make(tag, text, className) {
    const made = document.createElement(tag);
    if (text !== undefined) made.textContent = text;
    if (className) made.className = className;
    return made;
}

function setText(target, text) {
    if (target.textContent !== text) target.textContent = text;
}

function ageText(seconds) {
    if (seconds === null || seconds === undefined) return "–";
    if (seconds < 120) return `${Math.round(seconds)} s`;
    if (seconds < 7200) return `${Math.round(seconds / 60)} min`;
    if (seconds < 172800) return `${Math.round(seconds / 3600)} h`;
    return `${Math.round(seconds / 86400)} days`;
}

const passed = () => (performance.now() - state.receivedAt) / 1000;
const agedText = (seconds) => ageText(seconds === null ? null : seconds + passed());
const kilowattHours = (wattSeconds) => (wattSeconds / 3.6e6).toFixed(2);
const countText = (count) => (count === null ? "–" : String(count));
const nameOf = (meter) => meter.name || meter.id || `Meter ${meter.slaveAddress}`;
// Null where the last power is none of the present.
const presentPower = (meter) => (meter.health === "silent" ? null : meter.power);

function powerText(watts) {
    const size = Math.abs(watts);
    const text = size >= 10000 ? `${(size / 1000).toFixed(2)} kW` : `${size.toFixed(size < 100 ? 1 : 0)} W`;
    if (watts === 0) return text;
    return watts > 0 ? `↓ ${text}` : `↑ ${text}`;
}

function powerWords(watts) {
    if (watts === 0) return "no power";
    return watts > 0 ? `${watts.toFixed(0)} watts consumed` : `${(-watts).toFixed(0)} watts produced`;
}

function describe(list, pairs) {
    const terms = list.querySelectorAll("dd");
    if (terms.length === pairs.length && pairs.every(([term], i) => terms[i].dataset.term === term)) {
        pairs.forEach(([, text], i) => setText(terms[i], text));
        return;
    }
    const isGrouped = list.id === "reader";
    list.replaceChildren();
    for (const [term, text, className] of pairs) {
        const value = make("dd", text, className);
        value.dataset.term = term;
        const group = isGrouped ? list.appendChild(make("div")) : list;
        group.append(make("dt", term), value);
    }
}

function showReader(home) {
    const reader = home.reader;
    const pairs = [["State", healthTexts[reader.health]], ["Polls", countText(reader.polls)]];
    if (reader.lastPollSeconds !== null)
        pairs.push(["Length of a poll", `${reader.lastPollSeconds.toFixed(1)} s (median ${reader.medianPollSeconds.toFixed(1)} s)`]);
    pairs.push(["Last poll", reader.lastPollAgeSeconds === null ? "–" : `${agedText(reader.lastPollAgeSeconds)} ago`]);
    pairs.push(["Delivered", countText(reader.delivered)], ["Lost", countText(reader.lost)]);
    if (reader.restarts) pairs.push(["Restarts", String(reader.restarts)]);
    if (reader.assertionFailures) pairs.push(["Crashes", String(reader.assertionFailures)]);
    describe(element("reader"), pairs);
    element("hints").hidden = home.hints.length === 0;
    setText(element("hints"), home.hints.join("\n"));
}

function makeMeter(address) {
    const tile = make("li", undefined, "meter");
    tile.id = `meter-${address}`;
    const title = make("h3");
    title.id = `meter-${address}-title`;
    tile.setAttribute("aria-labelledby", title.id);
    tile.append(title, make("p", undefined, "health"), make("p", undefined, "power"), make("dl"));
    return tile;
}

function tariffText(values, separator) {
    const tariffs = [];
    for (let i = 1; i <= 6; ++i) {
        const consumed = values[`t${i}EnergyConsumed`];
        const produced = values[`t${i}EnergyProduced`];
        if (!consumed && !produced) continue;
        const texts = [consumed, produced].map((x) => (x === undefined ? "–" : kilowattHours(x)));
        tariffs.push(`T${i}\u00a0${texts.join("\u00a0/\u00a0")}`);
    }
    return tariffs.join(separator);
}

function showMeter(tile, meter) {
    const reading = meter.reading;
    tile.dataset.health = meter.health;
    setText(tile.querySelector("h3"), nameOf(meter));
    setText(tile.querySelector(".health"), healthTexts[meter.health]);
    const power = tile.querySelector(".power");
    const watts = presentPower(meter);
    setText(power, watts === null ? "–" : powerText(watts));
    power.setAttribute("aria-label", watts === null ? "no present power" : powerWords(watts));
    const pairs = [["Address", String(meter.slaveAddress)], ["Id", meter.id || "–"]];
    pairs.push(["Reading", reading === null ? "none" : `${agedText(meter.ageSeconds)} ago`]);
    if (meter.health !== "good" && meter.goodAgeSeconds !== null)
        pairs.push(["Last good one", `${agedText(meter.goodAgeSeconds)} ago`]);
    if (reading !== null && reading.energyConsumed !== undefined)
        pairs.push(["Consumed", `${kilowattHours(reading.energyConsumed)} kWh`]);
    if (reading !== null && reading.energyProduced !== undefined)
        pairs.push(["Produced", `${kilowattHours(reading.energyProduced)} kWh`]);
    if (reading !== null && tariffText(reading, "\n")) pairs.push(["Tariffs kWh", tariffText(reading, "\n"), "whole"]);
    if (meter.polls) pairs.push(["Good polls", `${(100 * meter.goodPolls / meter.polls).toFixed(1)} %`]);
    if (meter.carriedForward) pairs.push(["Values carried on", String(meter.carriedForward)]);
    if (meter.energyDecreases) pairs.push(["Falls of a counter", String(meter.energyDecreases)]);
    if (meter.energyJumps) pairs.push(["Jumps of a counter", String(meter.energyJumps)]);
    describe(tile.querySelector("dl"), pairs);
}

function showMeters(home) {
    const list = element("meters");
    const present = new Set(home.meters.map((meter) => `meter-${meter.slaveAddress}`));
    for (const tile of [...list.children]) if (!present.has(tile.id)) tile.remove();
    home.meters.forEach((meter, i) => {
        const tile = element(`meter-${meter.slaveAddress}`) || makeMeter(meter.slaveAddress);
        if (list.children[i] !== tile) list.insertBefore(tile, list.children[i] || null);
        showMeter(tile, meter);
    });
    const silent = home.meters.filter((meter) => meter.health === "silent").length;
    const failing = home.meters.filter((meter) => meter.health === "failing").length;
    const text = home.meters.length === 0 ? "The log has shown no meter yet."
        : `${home.meters.length} meters, ${silent} silent, ${failing} failing.`;
    setText(element("summary"), text);
}

function headOf(notice, home) {
    const meter = home.meters.find((x) => x.slaveAddress === notice.slaveAddress);
    if (meter) return `${nameOf(meter)}: ${notice.head}`;
    return notice.key === "register-unread" ? `Unknown meter: ${notice.head}` : notice.head;
}

function makeTrouble() {
    const item = make("li", undefined, "trouble");
    item.append(make("h3"), make("p", undefined, "dim"), make("p"), make("p"));
    return item;
}

function showTroubles(home) {
    const list = element("troubles");
    const troubles = home.notices;
    setText(element("more-troubles"), home.noticesLeftOut > 0 ? `And ${home.noticesLeftOut} more.` : "");
    if (troubles.length === 0) {
        if (list.dataset.none !== "true") list.replaceChildren(make("li", "None so far."));
        list.dataset.none = "true";
        return;
    }
    if (list.dataset.none !== "false") list.replaceChildren();
    list.dataset.none = "false";
    while (list.children.length > troubles.length) list.lastElementChild.remove();
    while (list.children.length < troubles.length) list.append(makeTrouble());
    troubles.forEach((x, i) => {
        const [title, times, meaning, remedy] = list.children[i].children;
        list.children[i].dataset.now = String(x.needsPerson);
        setText(title, headOf(x, home));
        setText(times, x.count === 1 ? `Once, ${agedText(x.ageSeconds)} ago`
            : `${x.count} times, the last one ${agedText(x.ageSeconds)} ago, since ${new Date(x.first).toLocaleString()}`);
        setText(meaning, x.meaning);
        setText(remedy, x.remedy ? `→ ${x.remedy}` : "");
    });
}

function showDays(home) {
    const rows = [];
    for (const meter of home.meters)
        for (const day of state.course.get(meter.slaveAddress)?.days || [])
            rows.push([day.day, nameOf(meter), day]);
    rows.sort((a, b) => (a[0] === b[0] ? 0 : a[0] < b[0] ? 1 : -1));
    const body = element("days").tBodies[0];
    while (body.rows.length > rows.length) body.deleteRow(-1);
    rows.forEach(([date, name, day], i) => {
        const row = body.rows[i] || body.insertRow();
        while (row.cells.length < 5)
            row.append(make(row.cells.length === 0 ? "th" : "td", "", [2, 3].includes(row.cells.length) ? "number" : ""));
        row.cells[0].scope = "row";
        const energy = (value) => (value === undefined ? "–" : kilowattHours(value));
        [date, name, energy(day.energyConsumed), energy(day.energyProduced), tariffText(day, ", ") || "–"]
            .forEach((text, cell) => setText(row.cells[cell], text));
    });
}

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

// The rows of the plot: a time, and a power for each meter. Lines go on through null.
function buildRows(home) {
    const rows = new Map();
    const longest = home.reader.longestAgeSeconds * 1000;
    home.meters.forEach((meter, i) => {
        const powers = state.course.get(meter.slaveAddress)?.powers || [];
        for (const [time, watts] of withEnds(powers, longest, presentPower(meter) === null)) {
            if (!rows.has(time)) rows.set(time, [new Date(time), ...home.meters.map(() => null)]);
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
    const labels = ["Time", ...home.meters.map((meter) => `${meter.slaveAddress} ${nameOf(meter)}`)];
    state.plot = new Dygraph(element("plot"), rowsToPlot(home), {
        labels,
        colors: home.meters.map((meter, i) => colourOf(i)),
        connectSeparatedPoints: true,
        includeZero: true,
        strokeWidth: 1.75,
        labelsUTC: false,
        xRangePad: 4,
        yRangePad: 12,
        axisLineColor: cssColour("--line"),
        gridLineColor: cssColour("--line"),
        axes: { x: { axisLabelWidth: 72 }, y: { axisLabelWidth: 64, valueFormatter: (v) => `${v} W`, axisLabelFormatter: (v) => `${v} W` } },
        visibility: home.meters.map((meter) => !state.hidden.has(meter.slaveAddress)),
        // The line between both directions.
        underlayCallback: (canvas, area, plot) => {
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
        },
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

function show() {
    const home = state.home;
    showReader(home);
    showMeters(home);
    showTroubles(home);
    showDays(home);
    setText(element("footer"), `Log: ${home.log.source}, ${home.log.lines} lines${home.log.isOver ? ", at its end" : ""}. modbus-inspector ${home.version}`);
}

function take(home) {
    state.home = home;
    state.receivedAt = performance.now();
}

function takeCourse(home) {
    take(home);
    state.course = new Map(home.meters.map((meter) => [meter.slaveAddress, {
        powers: meter.powers,
        days: meter.days,
        last: meter.reading === null ? "" : meter.reading.time,
        isOver: presentPower(meter) === null,
    }]));
    state.meters = metersOf(home);
    state.rows = buildRows(home);
    show();
    showLegend(home);
    makePlot(home);
    showPlot(home);
}

function takeNews(home) {
    take(home);
    addToCourse(home);
    show();
    showPlot(home);
}

function setConnection(name, text) {
    element("connection").dataset.state = name;
    setText(element("connection"), text);
}

function listen() {
    const events = new EventSource("/api/v1/events");
    let hasCourse = false;
    // What came before the course.
    let early = null;
    const giveUp = () => {
        events.close();
        setTimeout(listen, 5000);
    };
    const lose = () => {
        hasCourse = false;
        setConnection("lost", "The inspector doesn't answer; trying again.");
    };
    const takeEvent = (home) => {
        if (!hasCourse) early = home;
        // Other meters have another past.
        else if (metersOf(home) === state.meters) takeNews(home);
        else takeAll();
    };
    const takeAll = async () => {
        hasCourse = false;
        try {
            const reply = await fetch("/api/v1/home");
            if (!reply.ok) throw new Error(String(reply.status));
            takeCourse(await reply.json());
        } catch (error) {
            lose();
            if (events.readyState !== EventSource.CLOSED) giveUp();
            return;
        }
        if (events.readyState !== EventSource.OPEN) return;
        hasCourse = true;
        setConnection("live", "Live");
        if (early !== null && early.time > state.home.time) takeEvent(early);
        early = null;
    };
    events.addEventListener("home", (event) => takeEvent(JSON.parse(event.data)));
    // After a break the course may have gone on.
    events.addEventListener("open", takeAll);
    events.addEventListener("error", () => {
        lose();
        // A browser gives up for good after a refusal.
        if (events.readyState === EventSource.CLOSED) giveUp();
    });
}

function showSpans() {
    for (const [text, minutes] of spans) {
        const button = make("button", text);
        button.type = "button";
        button.setAttribute("aria-pressed", String(minutes === state.minutes));
        button.addEventListener("click", () => {
            state.minutes = minutes;
            for (const other of element("spans").children) other.setAttribute("aria-pressed", String(other === button));
            if (state.home) showPlot(state.home);
        });
        element("spans").append(button);
    }
}

showSpans();
listen();
setInterval(() => { if (state.home) show(); }, 1000);
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
    if (state.home) makePlot(state.home);
});
