package com.kestrane.vorn;

/** A wrapper whose constructor fails. */
public class RefusingImpl extends CppObjectWrapper {
  public RefusingImpl(long address) {
    super(address);
    throw new IllegalStateException("no model today");
  }
}
