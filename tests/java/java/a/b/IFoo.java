package a.b;

/** An interface of the model that Java code may implement. */
public interface IFoo {
  int next(int number);
}
