import { a } from "./a";
import { b } from "./lib";
import React from "react";

export const main = () => a + b;
