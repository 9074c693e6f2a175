package bixtest;

import a.b.IFoo;

/** An interface of the model, implemented in Java. */
public class Foo implements IFoo {
  @Override
  public int next(int number) {
    return number + 1;
  }
}
