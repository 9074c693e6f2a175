package com.kestrane.vorn;

import java.util.concurrent.atomic.AtomicInteger;

/** A generated class: the wrapper of the interface Model. */
public class ModelImpl extends CppObjectWrapper {
  private static final AtomicInteger made = new AtomicInteger();

  public ModelImpl(long address) {
    super(address);
    made.incrementAndGet();
  }

  /** How many objects of this class have been made. */
  public static int made() {
    return made.get();
  }
}
