// A picture of several plots, one below the other.

import { shownShort } from "../text/shown";

interface PictureColors {
  text: string;
  ground: string;
}

/** The canvases with their titles above them, as PNG. Rejected if the browser cannot make one. */
export function pictureOf(
  canvases: readonly HTMLCanvasElement[],
  titles: readonly string[],
  colors: PictureColors,
): Promise<Blob> {
  const ratio = devicePixelRatio;
  const titleHeight = Math.round(22 * ratio);
  const picture = document.createElement("canvas");
  picture.width = Math.max(1, ...canvases.map(({ width }) => width));
  picture.height = Math.max(1, canvases.reduce((sum, { height }) => sum + height + titleHeight, 0));
  const context = picture.getContext("2d");
  if (context === null) return Promise.reject(new Error("the browser has no canvas to draw a picture on"));
  context.fillStyle = colors.ground;
  context.fillRect(0, 0, picture.width, picture.height);
  context.fillStyle = colors.text;
  context.font = `${Math.round(13 * ratio)}px system-ui, sans-serif`;
  let top = 0;
  canvases.forEach((canvas, place) => {
    context.fillText(shownShort(titles[place] ?? "", 200), 8 * ratio, top + 16 * ratio);
    top += titleHeight;
    context.drawImage(canvas, 0, top);
    top += canvas.height;
  });
  return new Promise((made, failed) => {
    picture.toBlob((blob) => {
      if (blob === null) failed(new Error("the browser could not make a picture of this size"));
      else made(blob);
    }, "image/png");
  });
}
