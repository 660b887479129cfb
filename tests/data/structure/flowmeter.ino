// Flow meter: counts pulses from a hall sensor, reports litres per minute.
#include <Arduino.h>
#include <Ticker.h>
#include "display.h"

#define SENSOR_PIN 2
#define LED_PIN 13
#define PULSES_PER_LITRE 450.0f
#define CLAMP(v, lo, hi) ((v) < (lo) ? (lo) : (v) > (hi) ? (hi) : (v))

volatile uint32_t pulses = 0;
Ticker reportTicker;
Display display(0x3C);

typedef struct {
  float litresPerMinute;
  uint32_t total;
} FlowReading;

static FlowReading last;

void IRAM_ATTR onPulse() {
  pulses++;
}

void report() {
  noInterrupts();
  uint32_t count = pulses;
  pulses = 0;
  interrupts();
  last.litresPerMinute = CLAMP(count / PULSES_PER_LITRE * 60.0f, 0.0f, 99.0f);
  last.total += count;
  display.show(last.litresPerMinute, last.total);
}

ISR(TIMER1_COMPA_vect) {
  digitalWrite(LED_PIN, !digitalRead(LED_PIN));
}

void shutdown() {
  display.clear();
}

void onButton(uint8_t pin) {
  last.total = 0;
}

void setup() {
  Serial.begin(115200);
  pinMode(SENSOR_PIN, INPUT_PULLUP);
  pinMode(LED_PIN, OUTPUT);
  attachInterrupt(digitalPinToInterrupt(SENSOR_PIN), onPulse, FALLING);
  reportTicker.attach(1.0, report);
  atexit(shutdown);
  display.onPress(onButton);
  if (!display.begin()) {
    Serial.println(F("no display"));
  }
}

void loop() {
  if (Serial.available()) {
    report();
  }
  delay(10);
}
