package com.kestrane.vorn;

/** Is told when a note has changed. */
public interface IListener {
  void noteChanged(NoteImpl note);
}
