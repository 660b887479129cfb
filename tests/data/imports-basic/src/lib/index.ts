export * from "./b";
