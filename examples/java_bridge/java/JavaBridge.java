import com.kestrane.vorn.APIError;
import com.kestrane.vorn.IListener;
import com.kestrane.vorn.NoteImpl;
import com.kestrane.vorn.Priority;

/** A Java program that works with native objects. */
public final class JavaBridge {
  private JavaBridge() {}

  private static native void start();

  private static native void stop();

  private static native NoteImpl newNote();

  private static native String leakReport();

  public static void main(String[] arguments) {
    System.load(arguments[0]);
    start();

    NoteImpl note = newNote();
    note.setText("one smile: \uD83D\uDE00");
    String text = note.getText();
    System.out.println("characters: " + text.codePointCount(0, text.length()));
    System.out.printf("the last one: U+%X%n", text.codePointBefore(text.length()));

    note.setPriority(Priority.HIGH);
    System.out.println("priority: " + note.getPriority());

    NoteImpl next = note.getNext();
    System.out.println("one wrapper per note: " + (next == note.getNext()));

    IListener listener = changed -> System.out.println("changed: " + (changed == next));
    next.setListener(listener);
    next.setText("called back");

    for (Object object : new Object[] {"not a listener", note}) {
      try {
        next.setListener(object);
      } catch (APIError error) {
        System.out.println("refused: " + error.getMessage());
      }
    }

    System.out.println("while in use: " + leakReport());
    next.close();
    note.getNext().close(); // of another wrapper, for the first one is closed
    note.close();
    System.out.println("at the end: " + leakReport());
    stop();
  }
}
