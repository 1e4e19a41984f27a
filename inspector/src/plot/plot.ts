// One plot: uPlot lays out the axes and the canvas, canvas.ts draws what is in it.

import uPlot from "uplot";
import type { Window } from "../data/source";
import { element } from "../dom";
import { shownShort } from "../text/shown";
import { drawContent } from "./canvas";
import type { PlotContent } from "./content";
import { valueRange } from "./range";
import type { Range } from "./range";
import { dateTicks, numberTicks } from "./ticks";
import type { Ticks } from "./ticks";

const FONT = "11px system-ui, sans-serif";
const TIME_AXIS_HEIGHT = 34;
const TIME_TICK_WIDTH = 95;
const VALUE_TICK_HEIGHT = 34;

/** What all plots over one time axis share. */
export interface Shared {
  window: Window;
  isDate: boolean;
  /** Width of the axes of values, in CSS pixels: the same, so that the times are in line. */
  axisWidth: number;
}

/** Colours of the theme, read from the style sheet. */
export interface PlotColors {
  text: string;
  grid: string;
}

export class Plot {
  readonly element: HTMLElement;
  /** The area that curves are drawn on. */
  readonly area: HTMLElement;
  private readonly uplot: uPlot;
  private readonly title = element("div", "plot-title");
  private range: Range = { low: 0, high: 1 };
  private readonly cursorLine = element("div", "plot-cursor", { hidden: true });
  private readonly pinLine = element("div", "plot-pin", { hidden: true });

  constructor(
    private readonly shared: Shared,
    private content: PlotContent,
    private readonly colors: () => PlotColors,
    private readonly showsTime: boolean,
    size: { width: number; height: number },
  ) {
    const holder = element("div", "plot-canvas");
    this.element = element("div", "plot", {}, this.title, holder);
    this.uplot = new uPlot(this.options(size), [[0, 1]], holder);
    this.area = this.uplot.over;
    this.area.append(this.pinLine, this.cursorLine);
    this.describe();
  }

  private options(size: { width: number; height: number }): uPlot.Options {
    const stroke = (): string => this.colors().text;
    const lines = (): string => this.colors().grid;
    const shared = { stroke, font: FONT, labelFont: FONT, grid: { stroke: lines, width: 1 }, ticks: { stroke: lines, width: 1, size: 4 } };
    return {
      ...size,
      padding: [6, 12, this.showsTime ? 0 : 6, 0],
      legend: { show: false },
      cursor: { show: false },
      scales: { x: { time: false, auto: false }, y: { auto: false } },
      series: [{}],
      axes: [
        {
          ...shared,
          show: true,
          size: this.showsTime ? TIME_AXIS_HEIGHT : 0,
          splits: () => this.timeTicks().places,
          values: () => (this.showsTime ? this.timeTicks().texts : []),
          gap: 3,
        },
        {
          ...shared,
          scale: "y",
          size: () => this.shared.axisWidth,
          splits: () => this.valueTicks().places,
          values: () => this.valueTicks().texts,
        },
      ],
      hooks: { draw: [(plot) => this.draw(plot)] },
    };
  }

  private timeTicks(): Ticks {
    const { window, isDate } = this.shared;
    const count = this.area === undefined ? 8 : this.area.clientWidth / TIME_TICK_WIDTH;
    return (isDate ? dateTicks : numberTicks)(window.first, window.last, count);
  }

  valueTicks(): Ticks {
    const height = this.area === undefined ? 200 : this.area.clientHeight;
    return numberTicks(this.range.low, this.range.high, Math.max(2, height / VALUE_TICK_HEIGHT));
  }

  /** Shows other samples or another window; `measure` has read the range before. */
  setContent(content: PlotContent): void {
    this.content = content;
    this.describe();
  }

  private describe(): void {
    const { title, unit, heading } = this.content;
    if (heading !== undefined) {
      if (this.title.firstChild !== heading) this.title.replaceChildren(heading);
      return;
    }
    this.title.replaceChildren(
      element("bdi", "", {}, shownShort(title, 200)),
      ...(unit ? [element("span", "plot-unit", {}, ` [${shownShort(unit, 40)}]`)] : []),
    );
  }

  /** Finds the range of values for the window, and returns the texts that the axis will have. */
  measure(): string[] {
    this.range = valueRange(this.content, this.shared.window);
    return this.valueTicks().texts;
  }

  redraw(): void {
    const { first, last } = this.shared.window;
    this.uplot.batch(() => {
      this.uplot.setScale("x", { min: first, max: last });
      this.uplot.setScale("y", { min: this.range.low, max: this.range.high });
    });
    this.uplot.redraw(false, true);
  }

  setSize(width: number, height: number): void {
    if (width !== this.uplot.width || height !== this.uplot.height) this.uplot.setSize({ width, height });
  }

  /** Shows the lines at these times; a time outside the window has none. */
  markTimes(cursor: number | null, pin: number | null): void {
    this.place(this.cursorLine, cursor);
    this.place(this.pinLine, pin);
  }

  private place(line: HTMLElement, time: number | null): void {
    const { first, last } = this.shared.window;
    line.hidden = time === null || time < first || time > last || !(last > first);
    if (line.hidden || time === null) return;
    line.style.transform = `translateX(${((time - first) / (last - first)) * this.area.clientWidth}px)`;
  }

  /** The time at a place on the screen. */
  timeAt(clientX: number): number {
    const { left, width } = this.area.getBoundingClientRect();
    const { first, last } = this.shared.window;
    const part = Math.min(Math.max((clientX - left) / Math.max(1, width), 0), 1);
    return first + part * (last - first);
  }

  get canvas(): HTMLCanvasElement {
    return this.uplot.ctx.canvas;
  }

  private draw(plot: uPlot): void {
    const { left, top, width, height } = plot.bbox;
    const { window } = this.shared;
    const { low, high } = this.range;
    const xScale = width / (window.last - window.first);
    const yScale = -height / (high - low);
    drawContent(
      {
        context: plot.ctx,
        box: { left, top, right: left + width, bottom: top + height },
        window,
        transform: { xScale, xOffset: left - window.first * xScale, yScale, yOffset: top - high * yScale },
        ratio: uPlot.pxRatio,
      },
      this.content,
    );
  }

  destroy(): void {
    this.uplot.destroy();
    this.element.remove();
  }
}
