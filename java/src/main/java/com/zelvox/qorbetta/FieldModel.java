package com.zelvox.qorbetta;

import java.util.Set;

/**
 * A model whose variables are fields: the usual way to write one.
 *
 * <pre>
 *   &#64;DefaultExperiment(stopTime = 60, stepSize = 0.1)
 *   public class Tank extends FieldModel {
 *       &#64;Input(unit = "m3/s", description = "water flowing in")      double inflow;
 *       &#64;Output(unit = "m", description = "height of the water")     double level;
 *       &#64;Parameter(unit = "m2", start = 2, min = 0.01, max = 100)    double area;
 *       &#64;Parameter(unit = "1/s", start = 0.1)                        double drain;
 *
 *       &#64;Override
 *       protected void step(double time, double stepSize) {
 *           double end = inflow / (area * drain);
 *           level = end + (level - end) * Math.exp(-drain * stepSize);
 *       }
 *   }
 * </pre>
 *
 * <p>Fields of the type {@code double} that are an {@link Input}, {@link Output} or {@link
 * Parameter} are variables of their name; they may be private. An array {@code double[] x} of fixed
 * length is the variables {@code x[1]}, {@code x[2]} and so on. An object in a field {@code pump}
 * whose class has such fields itself brings {@code pump.speed}; so does each object in an array. A
 * {@code transient} field is not looked into. Variables stand in the order of declaration, those of
 * the classes that the model extends first.
 *
 * <p>A field starts with the value that it is initialized with, or with the one that its annotation
 * gives. {@link ModelInfo}, {@link DefaultExperiment} and {@link UnitDefinition} on the class say
 * the rest.
 *
 * <p>{@link #step} is what a model must write; it may override these, too. {@code initialize} and
 * {@code step} may be protected, the others are public, and only methods with these parameters are
 * called:
 *
 * <pre>
 *   public void setUp(double startTime, double stopTime) throws Exception
 *   protected void initialize() throws Exception
 *   protected void step(double time, double stepSize) throws Exception
 *   public void terminate() throws Exception
 *   public void free() throws Exception
 * </pre>
 *
 * <p>{@link Model} says when they are called. An object is set up and initialized once; there may be
 * more objects than runs.
 */
public abstract class FieldModel implements Model {
    private transient VariableFields fields; // read after the construction

    /**
     * Starts the run: brings the model to its state at the start time. The inputs and parameters
     * have their values, the outputs what they start with. Does nothing by default.
     *
     * @throws Exception when the model cannot start from these inputs and parameters
     */
    protected void initialize() throws Exception {
    }

    /**
     * Advances the model from {@code time} to {@code time + stepSize}: computes the outputs at the
     * end of the step from the inputs, which are constant during it. Runs on the thread that the
     * importer steps on, once per communication step.
     *
     * @param time where the step starts, which is where the last one ended
     * @param stepSize its length, greater than 0; it may change from step to step
     * @throws Exception when the step cannot be made; the run is over then
     */
    protected abstract void step(double time, double stepSize) throws Exception;

    @Override
    public final ModelDescription describe() {
        return fields().description;
    }

    @Override
    public final void set(int parameter, double value) {
        fields().setParameter(parameter, value);
    }

    @Override
    public final void initialize(double[] inputs, double[] outputs) throws Exception {
        fields().setInputs(inputs);
        initialize();
        fields().getOutputs(outputs);
    }

    @Override
    public final void step(double time, double stepSize, double[] inputs, double[] outputs)
            throws Exception {
        fields().setInputs(inputs);
        step(time, stepSize);
        fields().getOutputs(outputs);
    }

    /** What the author may expect to be looked into or called and is not, for the packer. */
    final Set<String> overlooked() {
        Set<String> sentences = new Parts(this).overlooked();
        for (Class<?> c = getClass(); c != FieldModel.class; c = c.getSuperclass()) {
            try {
                c.getDeclaredMethod("setUp");
                sentences.add(c.getName() + ".setUp() is not called by itself; what is called is"
                        + " public void setUp(double startTime, double stopTime)");
            } catch (NoSuchMethodException | LinkageError e) {
                // So it should be; or a class that cannot be asked, which compiled nonetheless.
            }
        }
        return sentences;
    }

    private VariableFields fields() {
        if (fields == null) {
            fields = new VariableFields(this);
        }
        return fields;
    }
}
