package com.kestrane.vorn;

/** A wrapper whose class cannot be initialised. */
public class BrokenImpl extends CppObjectWrapper {
  private static final int VALUE = Integer.parseInt("none");

  public BrokenImpl(long address) {
    super(address + VALUE);
  }
}
