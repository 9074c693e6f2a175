package com.kestrane.vorn;

/** What native code throws. */
public class APIError extends RuntimeException {
  private static final long serialVersionUID = 1;

  public APIError(String message) {
    super(message);
  }
}
