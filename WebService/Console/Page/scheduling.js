// Work that is put together, so that it is done once however often it is asked for.

import { report } from "./messages.js";

const drawings = new Set();
let drawingAsked = false;

/** Runs `draw` with the next frame, once however often it was asked for. */
export function atNextFrame(draw) {
  drawings.add(draw);
  if (!drawingAsked) {
    drawingAsked = true;
    requestAnimationFrame(() => {
      drawingAsked = false;
      const due = [...drawings];
      drawings.clear();
      due.forEach((each) => each());
    });
  }
}

/** A function that runs `work`: never twice at the same time, nor within `pause` milliseconds, and once more where it was
    asked for meanwhile. `soon()` does not wait for the pause. */
export function together(work, pause) {
  let running = false;
  let asked = false;
  let hurried = false;
  let timer = 0;
  const run = async () => {
    clearTimeout(timer);
    running = true;
    asked = false;
    hurried = false;
    try {
      await work();
    } catch (error) {
      report(error);
    }
    running = false;
    timer = setTimeout(() => {
      timer = 0;
      if (asked) {
        run();
      }
    }, hurried ? 0 : pause);
  };
  const ask = () => {
    asked = true;
    if (!running && timer === 0) {
      run();
    }
  };
  ask.soon = () => {
    asked = true;
    hurried = true;
    if (!running) {
      run();
    }
  };
  return ask;
}
