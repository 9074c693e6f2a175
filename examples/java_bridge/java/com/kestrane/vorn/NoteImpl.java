package com.kestrane.vorn;

/** A note of the model: what a generated wrapper looks like. */
public class NoteImpl extends CppObjectWrapper {
  public NoteImpl(long address) {
    super(address);
  }

  public native String getText();

  public native void setText(String text);

  public native int getPriority();

  public native void setPriority(Priority priority);

  /** The note behind this one, which is made when it is asked for. */
  public native NoteImpl getNext();

  /** Takes any object, so that native code has something to refuse. */
  public native void setListener(Object listener);

  /** Gives the native object up; the wrapper cannot be used afterwards. */
  public native void close();
}
