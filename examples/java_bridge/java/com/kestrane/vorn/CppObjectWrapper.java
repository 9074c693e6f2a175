package com.kestrane.vorn;

/** What stands in Java for a native object. */
public class CppObjectWrapper {
  private final long address;

  protected CppObjectWrapper(long address) {
    this.address = address;
  }

  public long getAddress() {
    return address;
  }
}
