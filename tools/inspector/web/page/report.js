"use strict";

const { longest, meters } = JSON.parse(document.getElementById("powers").textContent);
makePowerPlot(document.getElementById("plot"), plotRows(meters, longest), meters.map((meter) => meter.name), {
    legend: "always",
    labelsSeparateLines: true,
    labelsDiv: document.getElementById("legend"),
});
