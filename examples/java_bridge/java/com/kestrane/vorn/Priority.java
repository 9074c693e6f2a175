package com.kestrane.vorn;

/** How urgent a note is. */
public enum Priority {
  LOW,
  NORMAL,
  HIGH
}
