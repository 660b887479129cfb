import { b } from "./lib/b";
import { main } from "./main";

export const a = 1;
