import gone from "../missing";

export const b = 2;
