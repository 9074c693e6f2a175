package bixtest;

/** Native methods of a host. */
final class Calls {
  private Calls() {}

  /** The wrapper of the object at an address. */
  static native Object wrap(long object);

  /** The address behind a wrapper. */
  static native long unwrap(Object wrapper);

  static native void unregister(Object wrapper);

  /** What the native object for a Java object answers to 1. */
  static native int passTo(Object implementation, String interfaceName, int number);

  /** Fails in one of several ways, in native code. */
  static native int raise(int kind);

  /** Throws an exception of Java, and an error of the bridge behind it. */
  static native void raiseBehindAnother();

  /** Wraps, unwraps and unregisters an object that often, in one call. */
  static native int rounds(long object, int count);
}
