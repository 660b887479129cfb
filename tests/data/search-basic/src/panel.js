function drawPanel() {
  // draws the panel
  return panel;
}
