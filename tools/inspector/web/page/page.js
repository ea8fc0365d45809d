// Fills the page with /api/v1/home, and then with each event of /api/v1/events. Texts of the log
// are only ever put in as texts.

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
    const text = home.meters.length === 0 ? "The log shows no meter at present."
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
        setText(times, x.last === null ? "Ahead of the first line with a time"
            : x.count === 1 ? `Once, ${agedText(x.ageSeconds)} ago`
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
    const longest = home.reader.longestAgeSeconds * 1000;
    state.rows = plotRows(home.meters.map((meter) => state.course.get(meter.slaveAddress)), longest);
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
