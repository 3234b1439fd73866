// A sensor's course as a chart: what is read, what the hardware says where that is overridden, and the thresholds.
"use strict";

const Curves = (() => {
  const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

  const unit = (sensor) => (sensor.kind === "temperature"
    ? { divisor: 10, digits: 1, name: "°C" } : { divisor: 1000, digits: 3, name: "V" });

  const shown = (sensor, value) => {
    const { divisor, digits, name } = unit(sensor);
    return `${(value / divisor).toFixed(digits)} ${name}`;
  };

  const clock = (seconds) => {
    const whole = Math.floor(seconds);
    const two = (number) => String(number).padStart(2, "0");
    const minutes = `${two(Math.floor(whole / 60) % 60)}:${two(whole % 60)}`;
    return whole >= 3600 ? `${Math.floor(whole / 3600)}:${minutes}` : minutes;
  };

  function line(label, colourName, more) {
    return { label, colourName, data: [], pointRadius: 0, borderWidth: 1.5, stepped: "before", ...more };
  }

  function recolour(chart) {
    for (const set of chart.data.datasets) set.borderColor = colour(set.colourName);
    for (const scale of Object.values(chart.options.scales)) {
      scale.ticks.color = colour("--muted");
      scale.grid.color = colour("--line");
    }
  }

  // A chart in the canvas. `update(points, now)` draws [seconds, value, hardware, overridden] points up to now.
  function make(canvas, sensor) {
    const scale = unit(sensor);
    const threshold = { stepped: false, borderWidth: 1, borderDash: [2, 4] };
    const chart = new Chart(canvas, {
      type: "line",
      data: { datasets: [
        line("reading", "--accent", {}),
        line("hardware", "--over", { borderDash: [5, 4], spanGaps: false }),
        line("low", "--warn", threshold),
        line("high", "--warn", threshold),
      ] },
      options: {
        animation: false, parsing: false, normalized: true, responsive: true, maintainAspectRatio: false,
        interaction: { mode: "nearest", axis: "x", intersect: false },
        plugins: {
          legend: { display: false },
          tooltip: { callbacks: {
            title: (items) => (items.length ? clock(items[0].parsed.x) : ""),
            label: (item) => `${item.dataset.label} ${item.parsed.y.toFixed(scale.digits)} ${scale.name}`,
          } },
        },
        scales: {
          x: { type: "linear", ticks: { maxTicksLimit: 5, maxRotation: 0, callback: (value) => clock(value) }, grid: {} },
          y: { ticks: { maxTicksLimit: 5 }, grid: {} },
        },
      },
    });
    recolour(chart);
    return {
      update(points, now) {
        const [reading, hardware, low, high] = chart.data.datasets;
        const at = (x, value) => ({ x, y: value === null ? NaN : value / scale.divisor });
        reading.data = points.map((point) => at(point[0], point[1]));
        hardware.data = points.map((point) => at(point[0], point[3] ? point[2] : null));
        const first = points.length ? points[0][0] : 0;
        const last = points.length ? Math.max(now, points[points.length - 1][0]) : now;
        if (points.length) {
          const newest = points[points.length - 1];
          reading.data.push(at(last, newest[1]));
          hardware.data.push(at(last, newest[3] ? newest[2] : null));
        }
        low.data = [at(first, sensor.low), at(last, sensor.low)];
        high.data = [at(first, sensor.high), at(last, sensor.high)];
        chart.options.scales.x.min = first;
        chart.options.scales.x.max = Math.max(last, first + 1);
        chart.update("none");
      },
      recolour() { recolour(chart); chart.update("none"); },
      destroy() { chart.destroy(); },
    };
  }

  return { make, shown, clock, unit };
})();
