package bixtest;

/** An enum, one value of which has a class of its own. */
public enum Colour {
  RED,
  GREEN,
  BLUE {
    @Override
    public boolean isCold() {
      return true;
    }
  };

  public boolean isCold() {
    return false;
  }
}
