"use strict";

// What people read of the values.

const healthTexts = {
    good: "● Good",
    failing: "▲ Failing",
    silent: "■ Silent",
    unknown: "? Unknown",
};

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
